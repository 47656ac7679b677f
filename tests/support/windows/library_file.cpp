#include "tests/support/library_file.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "platform/windows/system.h"

namespace test_support {

namespace {

// A file in the system's "PE Format", as its reference publishes it.
class image {
 public:
  explicit image(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(stream), {});
    const auto begin = record<IMAGE_DOS_HEADER>(0);
    if (begin.e_magic != IMAGE_DOS_SIGNATURE) throw std::runtime_error("not a PE file");
    const auto headers_at = static_cast<std::size_t>(begin.e_lfanew);
    headers_ = record<IMAGE_NT_HEADERS64>(headers_at);
    if (headers_.Signature != IMAGE_NT_SIGNATURE ||
        headers_.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
      throw std::runtime_error("not a 64-bit PE file");
    }
    const std::size_t sections_at = headers_at + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
                                    headers_.FileHeader.SizeOfOptionalHeader;
    for (std::size_t index = 0; index < headers_.FileHeader.NumberOfSections; ++index) {
      sections_.push_back(
          record<IMAGE_SECTION_HEADER>(sections_at + index * sizeof(IMAGE_SECTION_HEADER)));
    }
  }

  // Where a directory of the image begins, 0 if it has none; an address in memory,
  // like all those below.
  std::uint32_t directory(std::size_t index) const {
    return headers_.OptionalHeader.DataDirectory[index].VirtualAddress;
  }

  template <typename Record>
  Record at(std::uint32_t address) const {
    return record<Record>(offset(address));
  }

  std::string text_at(std::uint32_t address) const {
    const std::size_t begin = offset(address);
    const std::size_t end = bytes_.find('\0', begin);
    if (end == std::string::npos) throw std::runtime_error("the PE file is cut off");
    return bytes_.substr(begin, end - begin);
  }

 private:
  template <typename Record>
  Record record(std::size_t offset) const {
    if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Record)) {
      throw std::runtime_error("the PE file is cut off");
    }
    Record result;
    std::memcpy(&result, bytes_.data() + offset, sizeof result);
    return result;
  }

  std::size_t offset(std::uint32_t address) const {
    for (const auto& section : sections_) {
      if (address >= section.VirtualAddress &&
          address - section.VirtualAddress < section.SizeOfRawData) {
        return section.PointerToRawData + (address - section.VirtualAddress);
      }
    }
    throw std::runtime_error("the PE file has no section there");
  }

  std::string bytes_;
  IMAGE_NT_HEADERS64 headers_;
  std::vector<IMAGE_SECTION_HEADER> sections_;
};

}  // namespace

const char* const decoder_library_name = "dekodrix.dll";

library_file read_library_file(const std::filesystem::path& path) {
  const image library(path);
  library_file file;
  if (const auto address = library.directory(IMAGE_DIRECTORY_ENTRY_EXPORT); address != 0) {
    const auto exports = library.at<IMAGE_EXPORT_DIRECTORY>(address);
    file.name = library.text_at(exports.Name);
    for (std::uint32_t index = 0; index < exports.NumberOfNames; ++index) {
      const auto name = exports.AddressOfNames + index * std::uint32_t{sizeof(std::uint32_t)};
      file.exported.insert(library.text_at(library.at<std::uint32_t>(name)));
    }
  }
  if (auto address = library.directory(IMAGE_DIRECTORY_ENTRY_IMPORT); address != 0) {
    for (;; address += std::uint32_t{sizeof(IMAGE_IMPORT_DESCRIPTOR)}) {
      const auto imports = library.at<IMAGE_IMPORT_DESCRIPTOR>(address);
      if (imports.Name == 0) break;
      file.needed.insert(library.text_at(imports.Name));
    }
  }
  return file;
}

}  // namespace test_support
