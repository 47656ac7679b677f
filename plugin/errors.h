// errors.h - the plug-in's own exceptions. Everything else that fails throws
// std::runtime_error, std::filesystem::filesystem_error or the JSON library's
// errors.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kovax {

// A failure with a code of its own; the code does not reach the host.
class kovax_exception : public std::runtime_error {
 public:
  kovax_exception(std::int32_t code, const std::string& message)
      : std::runtime_error(message), code_(code) {}

  std::int32_t code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

}  // namespace kovax

namespace veltra {

// A failure whose code becomes the result of kovax_source_start or
// kovax_source_stop.
class veltra_exception : public std::runtime_error {
 public:
  veltra_exception(std::int32_t code, const std::string& message)
      : std::runtime_error(message), code_(code) {}

  std::int32_t code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

}  // namespace veltra
