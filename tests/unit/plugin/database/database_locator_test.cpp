#include "plugin/database/database_locator.h"

#include <gmock/gmock.h>

#include "platform/file.h"
#include "tests/support/recorded_log.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using test_support::log_line;
using test_support::recorded_log;
using test_support::temp_directory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* uuid = "0123abcd-4567-89ef-0a1b-23456789cdef";

class database_locator_test : public testing::Test {
 protected:
  std::string make(const std::string& name) {
    const fs::path path = directory_.path() / platform::path_from_utf8(name);
    fs::create_directories(path);
    return platform::path_to_utf8(path);
  }

  fs::path locate(const std::vector<std::string>& directories, std::string_view name = uuid) {
    return locate_database_directory(directories, name, log_.host_log());
  }

  std::string error_of(const std::vector<std::string>& directories) {
    try {
      locate(directories);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "no error";
  }

  temp_directory directory_;
  recorded_log log_;
};

TEST_F(database_locator_test, the_directory_named_by_the_uuid_is_found) {
  const std::string version = make("modem/1.0");
  make("modem/1.0/ffffffff-ffff-ffff-ffff-ffffffffffff");
  const std::string wanted = make(std::string("modem/1.0/") + uuid);
  EXPECT_EQ(locate({version}), fs::path(wanted));
  EXPECT_THAT(log_.lines(), ElementsAre(log_line{2, "try to locate db directory " + version}));
}

TEST_F(database_locator_test, directories_are_tried_in_their_order_up_to_the_first_match) {
  const std::string empty = make("a/2");
  const std::string first = make("a/1");
  const std::string second = make("a/3");
  make(std::string("a/1/") + uuid);
  make(std::string("a/3/") + uuid);
  EXPECT_EQ(locate({empty, first, second}), fs::path(first) / uuid);
  EXPECT_THAT(log_.lines(), ElementsAre(log_line{2, "try to locate db directory " + empty},
                                        log_line{2, "try to locate db directory " + first}));
}

TEST_F(database_locator_test, a_path_that_is_not_ascii_is_logged_in_utf8) {
  const std::string version = make("modem-ä/1.0");
  make(std::string("modem-ä/1.0/") + uuid);
  EXPECT_EQ(locate({version}), platform::path_from_utf8(version) / uuid);
  EXPECT_THAT(log_.lines()[0].message, HasSubstr("modem-ä"));
}

TEST_F(database_locator_test, the_name_is_compared_byte_for_byte) {
  const std::string version = make("v");
  make("v/0123ABCD-4567-89EF-0A1B-23456789CDEF");
  make(std::string("v/") + uuid + ".old");
  make("v/x" + std::string(uuid));
  EXPECT_EQ(error_of({version}), "unable to locate db directory");
  EXPECT_EQ(locate({version}, "0123ABCD-4567-89EF-0A1B-23456789CDEF").filename(),
            "0123ABCD-4567-89EF-0A1B-23456789CDEF");
}

TEST_F(database_locator_test, a_file_of_that_name_is_not_a_match) {
  const std::string version = make("v");
  directory_.write(std::string("v/") + uuid, "a file");
  EXPECT_EQ(error_of({version}), "unable to locate db directory");
}

TEST_F(database_locator_test, no_directories_hold_no_database) {
  EXPECT_EQ(error_of({}), "unable to locate db directory");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(database_locator_test, a_directory_that_does_not_exist_is_a_file_system_error) {
  const std::string missing = platform::path_to_utf8(directory_.path() / "missing");
  try {
    locate({missing});
    FAIL() << "no error";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(error.path1(), fs::path(missing));
  }
  EXPECT_EQ(log_.lines().size(), 1U);
}

class database_file_test : public database_locator_test {
 protected:
  std::string found() {
    try {
      return platform::path_to_utf8(find_database_file(directory_.path()).filename());
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }
};

TEST_F(database_file_test, a_json_file_is_a_database) {
  const fs::path file = directory_.write("fw.json", "{}");
  EXPECT_EQ(find_database_file(directory_.path()), file);
}

TEST_F(database_file_test, a_gz_file_is_a_database) {
  directory_.write("fw.tar.gz", "");
  EXPECT_EQ(found(), "fw.tar.gz");
}

TEST_F(database_file_test, other_files_and_directories_are_ignored) {
  directory_.write("readme.txt", "");
  directory_.write("fw.JSON", "");
  directory_.write("fw.Gz", "");
  directory_.write("fw.tgz", "");
  directory_.write("fw.json.old", "");
  directory_.write("veltra-0123456789abcdef.part", "");
  directory_.write(".json", "");  // a name, not an extension
  make("directory.json");
  EXPECT_EQ(found(), "unable to locate db file");
  directory_.write("database.gz", "");
  EXPECT_EQ(found(), "database.gz");
}

TEST_F(database_file_test, the_first_of_several_in_the_order_of_the_file_system_is_taken) {
  for (const char* name : {"b.json", "a.json", "c.gz", "d.json"}) directory_.write(name, "");
  const fs::path first = fs::directory_iterator(directory_.path())->path();
  EXPECT_EQ(find_database_file(directory_.path()), first);
}

TEST_F(database_file_test, an_empty_directory_holds_no_database) {
  EXPECT_EQ(found(), "unable to locate db file");
}

TEST_F(database_file_test, a_directory_that_does_not_exist_is_a_file_system_error) {
  EXPECT_THROW(find_database_file(directory_.path() / "missing"), fs::filesystem_error);
}

}  // namespace
}  // namespace veltra
