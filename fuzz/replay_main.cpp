// replay_main.cpp - runs a fuzz target over its corpus, without a fuzzer.
//
// Usage: TARGET [--mutations N] FILE-OR-DIRECTORY...
// Every file is run as it is, and then in N (default 200) mutations that depend on
// nothing but its bytes and their number, so that what failed once fails again.
// When a run aborts, its file and mutation are printed to stderr. Exit codes: 0,
// 1 if no input was found or one cannot be read, 2 for wrong usage.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using bytes = std::vector<std::uint8_t>;

constexpr unsigned default_mutations = 200;
// Largest number of edits in one mutation, and of bytes in one edit.
constexpr std::size_t max_edits = 8;
constexpr std::size_t max_edited_bytes = 64;

// What is being run, for the report of an abort.
std::string current_file;            // NOLINT(cert-err58-cpp): empty needs no allocation
unsigned long current_mutation = 0;  // 0 is the file as it is

extern "C" void report_abort(int /*signal*/) {
  std::fprintf(stderr, "aborted in %s, mutation %lu\n", current_file.c_str(), current_mutation);
  std::fflush(stderr);
}

// SplitMix64 (Steele, Lea, Flood 2014): small, and the same everywhere, which the
// distributions of <random> are not.
class random_source {
 public:
  explicit random_source(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t value = state_;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
  }

  // A number from 0 to `limit` - 1; 0 if `limit` is 0.
  std::size_t below(std::size_t limit) {
    return limit == 0 ? 0 : static_cast<std::size_t>(next() % limit);
  }

  std::uint8_t byte() { return static_cast<std::uint8_t>(next()); }

 private:
  std::uint64_t state_;
};

// FNV-1a.
std::uint64_t hash(const bytes& content) {
  std::uint64_t value = 0xCBF29CE484222325;
  for (const std::uint8_t byte : content) {
    value = (value ^ byte) * 0x100000001B3;
  }
  return value;
}

std::ptrdiff_t offset(std::size_t position) {
  return static_cast<std::ptrdiff_t>(position);
}

// Changes `content` in one place.
void edit(bytes& content, random_source& random) {
  enum edit_kind { flip_bit, set_byte, cut_end, erase_range, insert_noise, repeat_range, kinds };
  const std::size_t at = random.below(content.size());
  const std::size_t length =
      1 + random.below(std::min(max_edited_bytes, std::max<std::size_t>(content.size() - at, 1)));
  const std::size_t end = std::min(content.size(), at + length);
  switch (content.empty() ? insert_noise : static_cast<edit_kind>(random.below(kinds))) {
    case flip_bit:
      content[at] = static_cast<std::uint8_t>(content[at] ^ (1U << random.below(8)));
      break;
    case set_byte:
      content[at] = random.byte();
      break;
    case cut_end:
      content.resize(at);
      break;
    case erase_range:
      content.erase(content.begin() + offset(at), content.begin() + offset(end));
      break;
    case insert_noise: {
      bytes noise(length);
      std::generate(noise.begin(), noise.end(), [&random] { return random.byte(); });
      content.insert(content.begin() + offset(at), noise.begin(), noise.end());
      break;
    }
    case repeat_range: {
      const bytes range(content.begin() + offset(at), content.begin() + offset(end));
      content.insert(content.begin() + offset(random.below(content.size() + 1)), range.begin(),
                     range.end());
      break;
    }
    case kinds:
      break;
  }
}

void run(const bytes& input) {
  // An exact copy on the heap, so that AddressSanitizer sees every read beyond it.
  const bytes copy(input);  // NOLINT(performance-unnecessary-copy-initialization)
  LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

void replay(const bytes& content, unsigned long mutations) {
  run(content);
  const std::uint64_t seed = hash(content);
  for (current_mutation = 1; current_mutation <= mutations; ++current_mutation) {
    random_source random(seed + current_mutation);
    bytes mutated = content;
    for (std::size_t edits = 1 + random.below(max_edits); edits > 0; --edits) {
      edit(mutated, random);
    }
    run(mutated);
  }
  current_mutation = 0;
}

// The files that `argument` names, in the order of their names.
std::vector<std::filesystem::path> files_of(const std::filesystem::path& argument) {
  if (!std::filesystem::is_directory(argument)) {
    return {argument};
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(argument)) {
    if (entry.is_regular_file()) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

int replay_all(const std::vector<std::filesystem::path>& arguments, unsigned long mutations) {
  unsigned long inputs = 0;
  for (const auto& argument : arguments) {
    for (const auto& file : files_of(argument)) {
      std::ifstream in(file, std::ios::binary);
      const bytes content{std::istreambuf_iterator<char>(in), {}};
      current_file = file.string();
      if (!in) {
        std::fprintf(stderr, "cannot read %s\n", current_file.c_str());
        return 1;
      }
      replay(content, mutations);
      inputs += 1 + mutations;
    }
  }
  std::printf("%lu inputs\n", inputs);
  return inputs == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  unsigned long mutations = default_mutations;
  std::vector<std::filesystem::path> arguments;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--mutations" && i + 1 < argc) {
      mutations = std::strtoul(argv[++i], nullptr, 10);
    } else {
      arguments.emplace_back(argv[i]);
    }
  }
  if (arguments.empty()) {
    std::fprintf(stderr, "usage: %s [--mutations N] FILE-OR-DIRECTORY...\n", argv[0]);
    return 2;
  }
  std::signal(SIGABRT, report_abort);
  return replay_all(arguments, mutations);
}
