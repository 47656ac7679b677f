#include "tests/support/library_file.h"

#include <elf.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace test_support {

namespace {

template <typename Record>
Record read_record(const std::string& bytes, std::size_t offset) {
  if (offset > bytes.size() || bytes.size() - offset < sizeof(Record)) {
    throw std::runtime_error("the ELF file is cut off");
  }
  Record record;
  std::memcpy(&record, bytes.data() + offset, sizeof record);
  return record;
}

template <typename Record>
std::vector<Record> read_table(const std::string& bytes, const Elf64_Shdr& section) {
  std::vector<Record> records;
  for (std::size_t offset = 0; offset + sizeof(Record) <= section.sh_size;
       offset += sizeof(Record)) {
    records.push_back(read_record<Record>(bytes, section.sh_offset + offset));
  }
  return records;
}

}  // namespace

const char* const decoder_library_name = "libdekodrix.so";

library_file read_library_file(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  const auto header = read_record<Elf64_Ehdr>(bytes, 0);
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64) {
    throw std::runtime_error("not a 64-bit ELF file: " + path.string());
  }

  std::vector<Elf64_Shdr> sections;
  for (std::size_t index = 0; index < header.e_shnum; ++index) {
    sections.push_back(read_record<Elf64_Shdr>(bytes, header.e_shoff + index * sizeof(Elf64_Shdr)));
  }

  library_file file;
  for (const auto& section : sections) {
    if (section.sh_type != SHT_DYNSYM && section.sh_type != SHT_DYNAMIC) continue;
    const auto& strings = sections.at(section.sh_link);
    const auto text = [&](std::size_t offset) {
      return std::string(bytes.c_str() + strings.sh_offset + offset);
    };
    if (section.sh_type == SHT_DYNSYM) {
      for (const auto& symbol : read_table<Elf64_Sym>(bytes, section)) {
        const bool local = ELF64_ST_BIND(symbol.st_info) == STB_LOCAL;
        if (symbol.st_shndx != SHN_UNDEF && !local) file.exported.insert(text(symbol.st_name));
      }
    } else {
      for (const auto& entry : read_table<Elf64_Dyn>(bytes, section)) {
        const std::size_t value = entry.d_un.d_val;
        if (entry.d_tag == DT_NEEDED) file.needed.insert(text(value));
        if (entry.d_tag == DT_SONAME) file.name = text(value);
        if (entry.d_tag == DT_RUNPATH || entry.d_tag == DT_RPATH) file.runpath = text(value);
      }
    }
  }
  return file;
}

}  // namespace test_support
