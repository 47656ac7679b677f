// pseudo_terminal.h - a serial line without hardware: what is written to one end
// arrives at the other. POSIX only.
#pragma once

#include <string>
#include <string_view>

namespace serial_test {

// The end of the line where the modem is; device() names the end that is opened
// as a serial port. Throws std::system_error if the system gives none. Not
// synchronised.
class pseudo_terminal {
 public:
  pseudo_terminal();
  pseudo_terminal(const pseudo_terminal&) = delete;
  pseudo_terminal& operator=(const pseudo_terminal&) = delete;
  ~pseudo_terminal();

  const std::string& device() const { return device_; }
  int descriptor() const { return modem_; }

  // Writes all of it, waiting while the line is full.
  void send(std::string_view bytes) const;

  // What the other end has written, waiting for at least one byte.
  std::string receive() const;

  // The modem disappears.
  void hang_up();

 private:
  int modem_;
  std::string device_;
};

}  // namespace serial_test
