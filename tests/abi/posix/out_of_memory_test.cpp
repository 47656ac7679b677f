// Every allocation fails in turn, by itself and with all that follow: the host's process
// goes on. The C library's allocation functions are replaced by the ones below, for this
// whole program and the libraries in it; operator new calls them.
#include <dlfcn.h>
#include <execinfo.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <string_view>

#include "implementation/json_document.h"
#include "plugin/database/cached_database.h"
#include "plugin/database_document.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/database_builder.h"
#include "tests/support/environment_variable.h"
#include "tests/support/plugin_library.h"
#include "tests/support/tar_builder.h"
#include "tests/support/temp_directory.h"
#include "tests/support/trace_builder.h"
#include "tests/unit/decoder/stream.h"

// --- the replaced allocation functions --------------------------------------------------

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

// Counted and failed on one thread: the one that calls the plug-in.
thread_local bool armed = false;
std::uint64_t allocations = 0;
std::uint64_t first_failure = 0;  // 1 is the first allocation, 0 none
bool all_fail_after_it = false;

// The blocks that were given out while armed and not freed, in any order.
std::array<void*, 4096> blocks;
std::size_t block_count = 0;

void* given(void* block) {
  if (armed && block != nullptr && block_count < blocks.size()) blocks[block_count++] = block;
  return block;
}

void freed(const void* block) {
  for (std::size_t i = block_count; i-- > 0;) {
    if (blocks[i] != block) continue;
    blocks[i] = blocks[--block_count];
    return;
  }
}

bool fails() {
  if (!armed) return false;
  ++allocations;
  if (first_failure == 0) return false;
  const bool failing =
      all_fail_after_it ? allocations >= first_failure : allocations == first_failure;
  if (failing) errno = ENOMEM;
  return failing;
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
  return fails() ? nullptr : given(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : given(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
  if (fails()) return nullptr;
  freed(block);
  return given(__libc_realloc(block, size));
}
void free(void* block) {
  freed(block);
  __libc_free(block);
}

// Files are written in thousands of lives, and no machine fails meanwhile.
__attribute__((visibility("default"))) int fsync(int /*descriptor*/) {
  return 0;
}
}

namespace {

using kovax::json;
using test_support::plugin;

// --- a host that allocates nothing ----------------------------------------------------------

struct host {
  int errors = 0;
  int last_errors = 0;
  std::size_t raw_packets = 0;
  std::size_t decoded_packets = 0;
  bool was_told_the_cause = false;
};

void take_log(kovax_source*, void* user_data, std::int32_t level, const char* message) {
  if (level == KOVAX_LOG_RECOVERABLE_FAILURE &&
      std::strcmp(message, "out of memory while a database was read") == 0) {
    static_cast<host*>(user_data)->was_told_the_cause = true;
  }
}

void take_error(void* user_data, kovax_error_t error) {
  if (error.message != nullptr) ++static_cast<host*>(user_data)->errors;
}

void take_packet(kovax_source*, void* user_data, kovax_stream_packet_t packet) {
  auto& counts = *static_cast<host*>(user_data);
  ++(packet.field_32 == 0 ? counts.raw_packets : counts.decoded_packets);
}

void take_last_error(void* user_data, kovax_error_t error) {
  if (error.message != nullptr) ++static_cast<host*>(user_data)->last_errors;
}

// What is wrong with how one instance lived; null for nothing.
const char* life_of_an_instance(const char* parameters, host& counts) {
  kovax_source_init_args arguments{};
  arguments.parameters = parameters;
  arguments.log_user_data = &counts;
  arguments.log = take_log;
  arguments.error_user_data = &counts;
  arguments.error = take_error;
  kovax_source* source = nullptr;
  const std::int32_t result = plugin().init(&source, &arguments);
  if (result != 0) {
    if (result != 1) return "init: another result than 0 and 1";
    if (source != nullptr) return "init: failed and gave a handle";
    return counts.errors == 1 ? nullptr : "init: failed and did not report one error";
  }
  if (counts.errors != 0) return "init: succeeded and reported an error";
  const std::int32_t started = plugin().start(source, &counts, take_packet);
  if (started != 0 && started != 22 && started != 100) return "start: an unknown result";
  if (plugin().stop(source) != 0) return "stop: failed with a log that does not";
  plugin().get_last_error(source, &counts, take_last_error);
  if (counts.last_errors != 1) return "get_last_error: did not call back";
  if (plugin().release(source) != 0) return "release: failed";
  return nullptr;
}

// --- one life in a process of its own ---------------------------------------------------------

enum exit_code : int { lived = 0, misbehaved = 1, died_in_a_library = 2, told_the_cause = 3 };

bool contains(const char* text, std::string_view part) {
  return text != nullptr && std::string_view(text).find(part) != std::string_view::npos;
}

// A place that source.h names: the standard library's directory iterator allocates where
// it cannot report a failure.
bool is_known_end(void* frame) {
  Dl_info info{};
  if (dladdr(frame, &info) == 0) return false;
  return contains(info.dli_sname, "directory_iterator");
}

[[noreturn]] void end_of_the_process() {
  armed = false;
  std::array<void*, 64> frames{};
  const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
  if (std::any_of(frames.begin(), frames.begin() + count, is_known_end)) _exit(died_in_a_library);
  backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
  std::abort();
}

int exit_of_a_life(const std::string& parameters, std::uint64_t failure, bool all,
                   const std::function<void()>& prepare) {
  const pid_t child = fork();
  if (child == 0) {
    prepare();
    std::set_terminate(end_of_the_process);
    host counts;
    allocations = 0;
    first_failure = failure;
    all_fail_after_it = all;
    block_count = 0;
    armed = true;
    const char* wrong = life_of_an_instance(parameters.c_str(), counts);
    armed = false;
    // The library that downloads forgets an option when it cannot keep it.
    const std::size_t may_be_left = parameters.find("cache_directory") != std::string::npos ? 4 : 0;
    if (wrong == nullptr && block_count > may_be_left) wrong = "memory is left";
    if (wrong != nullptr && write(STDERR_FILENO, wrong, std::strlen(wrong)) > 0) {
      _exit(misbehaved);
    }
    _exit(counts.was_told_the_cause ? told_the_cause : lived);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Ends this process as a library does that cannot have memory.
template <typename Action>
void without_memory(const Action& action) {
  allocations = 0;
  first_failure = 1;
  all_fail_after_it = true;
  armed = true;
  action();
  armed = false;
}

void destroy_an_array_without_memory() {
  json array = {1, 2};
  without_memory([&] { array = nullptr; });
}

TEST(known_ends_test, the_json_library_allocates_in_a_destructor) {
  EXPECT_DEATH(destroy_an_array_without_memory(), "bad_alloc");
}

TEST(known_ends_test, a_dismantled_document_is_destroyed_without_memory) {
  const std::string text = R"({"a": [1, [], [[2], {}], {"b": {"c": [[[]]]}}], "d": "text"})";
  kovax::json_document document(text);
  EXPECT_EQ(document.root(), json::parse(text));
  without_memory([&] { kovax::dismantle(document.root()); });
  EXPECT_TRUE(document.root().is_null());
}

TEST(database_document, whatever_it_cannot_have_memory_for_is_taken_apart) {
  const std::string text = R"({"traces": [{"id": 1, "a text that needs memory": [{"x": [2]}]},
                                          {"no id": [{"x": [1, {}]}]}, [[3]], {"id": [[{}]]}]})";
  for (const bool all : {false, true}) {
    std::uint64_t failure = 0;
    for (bool failed = true; failed;) {
      allocations = 0;
      first_failure = ++failure;
      all_fail_after_it = all;
      armed = true;
      try {
        veltra::database_document document(text);
        veltra::trace_definitions definitions = document.take_definitions();
        definitions.find(1);
        definitions.add(2, document.root());
        failed = allocations >= failure;
      } catch (const std::bad_alloc&) {
      }
      armed = false;
    }
    EXPECT_GT(failure, 30U);
  }
}

void list_a_directory_without_memory() {
  for (std::uint64_t failure = 1; failure < 10; ++failure) {
    allocations = 0;
    first_failure = failure;
    all_fail_after_it = false;
    armed = true;
    try {
      std::filesystem::directory_iterator("/");
    } catch (const std::exception&) {
    }
    armed = false;
  }
}

TEST(known_ends_test, a_directory_iterator_allocates_where_it_cannot_throw) {
  EXPECT_DEATH(list_a_directory_without_memory(), "bad_alloc");
}

class out_of_memory_test : public testing::Test {
 protected:
  // Warms up what libraries keep for good, and counts what is left.
  std::uint64_t count_allocations(const std::string& parameters,
                                  const std::function<void()>& prepare) {
    for (int round = 0; round < 2; ++round) {
      prepare();
      host counts;
      allocations = 0;
      first_failure = 0;
      armed = true;
      const char* wrong = life_of_an_instance(parameters.c_str(), counts);
      armed = false;
      EXPECT_EQ(wrong, nullptr) << wrong;
      EXPECT_GT(counts.raw_packets, 0U);
      EXPECT_EQ(counts.decoded_packets, 2U);
    }
    std::array<void*, 4> frames{};
    backtrace(frames.data(), static_cast<int>(frames.size()));  // loads what it needs
    return allocations;
  }

  // `prepare` is done before each life.
  void expect_to_live(
      const json& parameters, const std::function<void()>& prepare = [] {}) {
    const std::string text = parameters.dump();
    const std::uint64_t count = count_allocations(text, prepare);
    ASSERT_GT(count, 100U);
    int in_a_library = 0;
    int with_the_cause = 0;
    int deaths = 0;
    for (const bool all : {false, true}) {
      for (std::uint64_t failure = 1; failure <= count; ++failure) {
        const int exit = exit_of_a_life(text, failure, all, prepare);
        if (exit == died_in_a_library) {
          ++in_a_library;
        } else if (exit == told_the_cause) {
          ++with_the_cause;
        } else if (exit != lived) {
          ADD_FAILURE() << (exit < 0 ? "died" : "misbehaved") << " without allocation " << failure
                        << " of " << count << (all ? " and those after it" : "");
          if (++deaths == 20) return;
        }
      }
    }
    EXPECT_GT(with_the_cause, 0) << "a database that memory fails for is called invalid only";
    std::printf("%d of %d lives ended in a library\n", in_a_library, static_cast<int>(2 * count));
  }

  // A stream that names the database `uuid` and has an IP packet and a trace with a definition.
  static std::string stream(const std::string& uuid) {
    std::string made = std::string("UID %s") + '\0' + uuid + "..";
    for (const std::string& trace :
         {test_support::build_trace({.buffer_id = "1"}, "an IP packet that is large enough"),
          test_support::build_trace({.id = test_support::id::formatted_at}, "AT")}) {
      open_decoder::test::frame_fields frame;
      frame.payload = open_decoder::test::to_bytes(trace);
      frame.master_id = test_support::database_master;
      const auto bytes = open_decoder::test::encode(frame);
      made.append(bytes.begin(), bytes.end());
    }
    return made;
  }

  static json database() {
    json result = test_support::conversion_database();
    result["meta"]["uuid"] = uuid;
    result["meta"]["aliases"] = {{{"id", 7}, {"more", {1, {2, {3}}}}}};
    result["meta"]["connection_configs"]["dekodrix_config"] =
        json::parse(R"({"format": "veltra-frames", "version": 1,
                        "masters": [{"id": 33, "aliases": [5, 6]}]})");
    return result;
  }

  static constexpr const char* uuid = "0a1b2c3d-0000-4000-8000-00112233aabb";
  // Thousands of files are made and removed: in memory, where the system has such a place.
  const test_support::environment_variable place{
      "TMPDIR", std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp"};
  test_support::temp_directory directory;
  const std::string trace = directory.write("trace.bin", stream(uuid)).string();
};

TEST_F(out_of_memory_test, an_instance_with_a_json_database_leaves_the_process_running) {
  expect_to_live({{"file_path", trace},
                  {"db_file_path", directory.write("db.json", database().dump()).string()}});
}

TEST_F(out_of_memory_test, an_instance_whose_definitions_are_members_leaves_the_process_running) {
  json members = database();
  members["traces"] = {{"first", members["traces"][0]}, {"second", members["traces"][1]}};
  expect_to_live({{"file_path", trace},
                  {"db_file_path", directory.write("db.json", members.dump()).string()}});
}

TEST_F(out_of_memory_test, an_instance_with_an_archive_leaves_the_process_running) {
  const std::string tar = test_support::tar_archive(
      {{"a", database().dump()}, {"b", test_support::minimal_database().dump()}});
  expect_to_live(
      {{"file_path", trace},
       {"db_file_path", directory.write("db.gz", test_support::compress(tar)).string()}});
}

TEST_F(out_of_memory_test, an_instance_with_a_cache_leaves_the_process_running) {
  const std::string text = database().dump();
  directory.write("origin/db.json", text);
  directory.write(
      "origin/config.json",
      test_support::catalogue_of("2024-05-01 12:00:00",
                                 {{"modem", "1", uuid, "${root}db.json", veltra::sha256_hex(text)}})
          .dump());
  expect_to_live({{"file_path", trace},
                  {"recording", true},
                  {"auto_detect_db_config",
                   {{"cache_directory", (directory.path() / "cache").string()},
                    {"update_cache", true},
                    {"trace_db_locations", {"${root}config.json"}},
                    {"root", "file://" + (directory.path() / "origin").string()}}}},
                 [this] { std::filesystem::remove_all(directory.path() / "cache"); });
}

}  // namespace
