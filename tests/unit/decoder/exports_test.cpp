// The dynamic symbol table of the shared library, read from its ELF file.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

// A little reader of the parts of a 64-bit ELF file that name things.
class elf_file {
 public:
  explicit elf_file(const char* path) {
    std::ifstream in(path, std::ios::binary);
    content_.assign(std::istreambuf_iterator<char>(in), {});
  }

  std::vector<std::string> exported_symbols() const {
    std::vector<std::string> names;
    for_each<Elf64_Sym>(SHT_DYNSYM, [&](const Elf64_Sym& symbol, std::uint64_t strings) {
      if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL) {
        names.push_back(text(strings + symbol.st_name));
      }
    });
    return names;
  }

  std::vector<std::string> sonames() const {
    std::vector<std::string> names;
    for_each<Elf64_Dyn>(SHT_DYNAMIC, [&](const Elf64_Dyn& entry, std::uint64_t strings) {
      if (entry.d_tag == DT_SONAME) {
        names.push_back(text(strings + entry.d_un.d_val));
      }
    });
    return names;
  }

 private:
  template <typename Record>
  Record read(std::uint64_t offset) const {
    Record record{};
    if (offset > content_.size() || content_.size() - offset < sizeof record) {
      throw std::out_of_range("beyond the end of the ELF file");
    }
    std::memcpy(&record, content_.data() + offset, sizeof record);
    return record;
  }

  std::string text(std::uint64_t offset) const { return {&content_.at(offset)}; }

  // Calls `use` with every record of the sections of that type and with the place
  // of the string table that goes with it.
  template <typename Record, typename Use>
  void for_each(std::uint32_t type, const Use& use) const {
    const auto header = read<Elf64_Ehdr>(0);
    const auto section = [&](std::uint64_t index) {
      return read<Elf64_Shdr>(header.e_shoff + index * header.e_shentsize);
    };
    for (std::uint64_t i = 0; i < header.e_shnum; ++i) {
      const auto found = section(i);
      if (found.sh_type != type) {
        continue;
      }
      const auto strings = section(found.sh_link);
      for (std::uint64_t at = 0; at < found.sh_size; at += sizeof(Record)) {
        use(read<Record>(found.sh_offset + at), strings.sh_offset);
      }
    }
  }

  std::string content_;
};

TEST(exports, the_library_shows_exactly_nine_functions) {
  EXPECT_THAT(elf_file(DEKODRIX_FILE).exported_symbols(),
              testing::UnorderedElementsAre(
                  "dekodrix_new", "dekodrix_delete", "dekodrix_set_timebase", "dekodrix_reset",
                  "dekodrix_set_configuration_json", "dekodrix_append_buffer", "dekodrix_parse",
                  "dekodrix_get_trace_count", "dekodrix_get_trace"));
}

TEST(exports, the_soname_has_no_version) {
  EXPECT_THAT(elf_file(DEKODRIX_FILE).sonames(), testing::ElementsAre("libdekodrix.so"));
}

}  // namespace
