// capture_fuzz.cpp - any file as a capture that a report is made of.
//
// Every outcome is a list of frames within the file, or a sentence for a person.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/report/capture_reader.h"
#include "host/user_error.h"
#include "implementation/contract.h"
#include "platform/file.h"

namespace {

// Of this process, and removed when it ends.
class scratch_file {
 public:
  scratch_file()
      : path_(std::filesystem::temp_directory_path() /
              ("capture_fuzz." + std::to_string(platform::process_id()) + ".pcapng")) {}
  ~scratch_file() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  scratch_file(const scratch_file&) = delete;
  scratch_file& operator=(const scratch_file&) = delete;

  const std::filesystem::path& hold(const std::uint8_t* data, std::size_t size) const {
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    KOVAX_CONTRACT(file.flush().good());
    return path_;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const scratch_file file;
  std::uint32_t number = 0;
  try {
    const auto contents = veltra::report::read_capture(
        file.hold(data, size), [&](const veltra::report::capture_frame& frame) {
          KOVAX_CONTRACT(frame.number == ++number);
          KOVAX_CONTRACT(frame.bytes.size() <= size && frame.protocol.size() <= size);
        });
    KOVAX_CONTRACT(contents.frames == number);
  } catch (const veltra::host::user_error& refusal) {
    KOVAX_CONTRACT(refusal.code() == veltra::host::exit_code::bad_input);
    KOVAX_CONTRACT(number == 0);
  }
  return 0;
}
