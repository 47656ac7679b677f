// The main job without a named database: a trace, a cache directory and the
// place of a catalogue give the same capture as with the database named.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "plugin/database/cached_database.h"
#include "plugin/database/file_io.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_variable.h"
#include "tests/support/http_server.h"
#include "tests/support/temp_directory.h"

namespace {

namespace fs = std::filesystem;
using test_support::catalogue_of;
using test_support::child_process;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using veltra::read_file;

// What a command printed and how it ended.
struct outcome {
  int exit_code;
  std::string output;
  std::string errors;
};

// One firmware: its UUID, its database's name, a trace of it and the capture that
// the named database gives.
struct firmware {
  std::string version;
  std::string uuid;
  std::string name;
  std::string trace;
  std::string capture;
};

class found_database_test : public testing::Test {
 protected:
  found_database_test() {
    make_firmware("1.0", "11111111-aaaa-4bbb-8ccc-000000000001", "fw1.tar.gz");
    make_firmware("2.0", "22222222-aaaa-4bbb-8ccc-000000000002", "fw2.json");
    make_firmware("3.0", "33333333-aaaa-4bbb-8ccc-000000000003", "fw3.json.gz");
  }

  // Runs a shell command with `veltra` in its path and the directory as its own.
  outcome shell(const std::string& command) {
    const fs::path output = work_.path() / "stdout.txt";
    const fs::path errors = work_.path() / "stderr.txt";
    child_process child({"/bin/sh", "-c",
                         "PATH=\"" + fs::path(VELTRA_PROGRAM).parent_path().string() +
                             ":$PATH\"; cd '" + work_.path().string() + "' && " + command + " >'" +
                             output.string() + "' 2>'" + errors.string() + "' </dev/null"});
    const auto ending = child.wait();
    return {ending.killed ? -1 : ending.exit_code, read_file(output), read_file(errors)};
  }

  void make_firmware(const std::string& version, const std::string& uuid, const std::string& name) {
    const std::string trace = "trace" + version + ".bin";
    const outcome made = shell("veltra simulate " VELTRA_SESSION " --trace " + trace +
                               " --database " + name + " --uuid " + uuid + " && veltra decode " +
                               trace + " --database " + name + " -o named.pcapng");
    EXPECT_EQ(made.exit_code, 0) << made.errors;
    firmwares_.push_back({version, uuid, name, trace, read_file(work_.path() / "named.pcapng")});
    EXPECT_THAT(firmwares_.back().capture, SizeIs(testing::Gt(1000U)));
  }

  std::string catalogue(const std::string& updated, std::size_t count) const {
    std::vector<test_support::listed_database> listed;
    for (const firmware& one : firmwares_) {
      if (listed.size() == count) break;
      listed.push_back({"modem", one.version, one.uuid, "${root}" + one.name,
                        veltra::sha256_hex(read_file(work_.path() / one.name))});
    }
    return catalogue_of(updated, listed).dump();
  }

  // Serves the catalogue with the first `count` databases.
  void serve(const std::string& updated = "2024-05-01 12:00:00", std::size_t count = 3) {
    server_.answer("/config.json", catalogue(updated, count));
    for (const firmware& one : firmwares_) {
      server_.answer("/" + one.name, read_file(work_.path() / one.name));
    }
  }

  std::string served() const {
    return " --update --location '${root}config.json' --root " + server_.url("/");
  }

  std::string cached_file(const firmware& one) const {
    return (work_.path() / "cache/modem" / one.version / one.uuid / one.name).string();
  }

  outcome decode(const firmware& one, const std::string& options) {
    fs::remove(work_.path() / "found.pcapng");
    return shell("veltra decode " + one.trace + " --cache cache -o found.pcapng" + options);
  }

  void expect_same_capture(const firmware& one, const std::string& options) {
    const outcome ended = decode(one, options);
    ASSERT_EQ(ended.exit_code, 0) << ended.errors;
    EXPECT_TRUE(read_file(work_.path() / "found.pcapng") == one.capture)
        << "the capture differs from that with the database named";
    EXPECT_THAT(ended.errors, HasSubstr(one.uuid));
  }

  // What the machine's own environment says about proxies is not under test.
  test_support::environment_variable http_proxy_{"http_proxy", std::nullopt};
  test_support::environment_variable all_proxy_{"all_proxy", std::nullopt};
  test_support::environment_variable ALL_PROXY_{"ALL_PROXY", std::nullopt};
  test_support::temp_directory work_;
  test_support::http_server server_;
  std::vector<firmware> firmwares_;
};

TEST_F(found_database_test, over_http_each_trace_gives_the_capture_of_its_named_database) {
  serve();
  for (const firmware& one : firmwares_) expect_same_capture(one, served());
  EXPECT_THAT(server_.targets(),
              testing::ElementsAre("/config.json", "/fw1.tar.gz", "/fw2.json", "/fw3.json.gz",
                                   "/config.json", "/config.json"));
}

TEST_F(found_database_test, a_filled_cache_is_enough_without_a_network) {
  serve();
  expect_same_capture(firmwares_[0], served());
  const std::size_t requests = server_.targets().size();
  for (const firmware& one : firmwares_) expect_same_capture(one, "");
  EXPECT_THAT(server_.targets(), SizeIs(requests));
}

TEST_F(found_database_test, a_catalogue_in_a_directory_does_as_well) {
  veltra::write_file(work_.path() / "config.json", catalogue("2024-05-01 12:00:00", 3));
  expect_same_capture(firmwares_[1], " --update --location '${root}config.json' --root file://" +
                                         work_.path().string());
  EXPECT_THAT(server_.targets(), IsEmpty());
}

TEST_F(found_database_test, a_damaged_file_in_the_cache_is_fetched_again) {
  serve();
  expect_same_capture(firmwares_[0], served());
  veltra::write_file(cached_file(firmwares_[0]), "damaged");
  expect_same_capture(firmwares_[0], " --root " + server_.url("/"));
  EXPECT_EQ(server_.targets().back(), "/fw1.tar.gz");
  EXPECT_EQ(read_file(cached_file(firmwares_[0])), read_file(work_.path() / "fw1.tar.gz"));
}

TEST_F(found_database_test, a_location_in_vain_leaves_the_next_one) {
  serve();
  expect_same_capture(firmwares_[2],
                      " --update --location file:///nowhere/config.json --location " +
                          server_.url("/config.json") + " --root " + server_.url("/"));
}

TEST_F(found_database_test,
       a_database_that_is_not_there_is_named_with_the_command_that_fetches_it) {
  serve("2024-05-01 12:00:00", 2);
  const outcome missing = decode(firmwares_[2], served());
  EXPECT_EQ(missing.exit_code, 3);
  EXPECT_THAT(missing.errors, AllOf(HasSubstr(firmwares_[2].uuid), HasSubstr("cache/modem/1.0"),
                                    HasSubstr("cache/modem/2.0")));
  EXPECT_FALSE(fs::exists(work_.path() / "found.pcapng"));

  const std::string lead = "fetch it with: ";
  const std::size_t command = missing.errors.find(lead);
  ASSERT_NE(command, std::string::npos) << missing.errors;
  std::string line = missing.errors.substr(command + lead.size());
  line.pop_back();  // its line end

  serve("2024-06-01 12:00:00");
  const outcome synchronised = shell(line);
  EXPECT_EQ(synchronised.exit_code, 0) << synchronised.errors;
  expect_same_capture(firmwares_[2], "");
}

TEST_F(found_database_test, a_trace_without_a_uuid_is_reported_as_such) {
  serve();
  veltra::write_file(work_.path() / "random.bin", std::string(5000, 'U'));
  const outcome ended = decode({"", "", "", "random.bin", ""}, served());
  EXPECT_EQ(ended.exit_code, 3);
  EXPECT_THAT(ended.errors,
              AllOf(HasSubstr("random.bin"), HasSubstr("no UUID in it"), HasSubstr("--database")));
}

TEST_F(found_database_test, an_empty_cache_names_the_command_that_fills_it) {
  const outcome ended = decode(firmwares_[0], "");
  EXPECT_EQ(ended.exit_code, 3);
  EXPECT_THAT(ended.errors, HasSubstr("veltra db sync --cache cache --update --location URL"));
}

TEST_F(found_database_test, no_location_within_reach_names_each_with_its_reason) {
  const outcome ended = decode(firmwares_[0],
                               " --update --location file:///nowhere/a.json"
                               " --location file:///nowhere/b.json");
  EXPECT_EQ(ended.exit_code, 3);
  EXPECT_THAT(ended.errors,
              AllOf(HasSubstr("file:///nowhere/a.json (Couldn't open file /nowhere/a.json)"),
                    HasSubstr("file:///nowhere/b.json (")));
}

// --- veltra db -------------------------------------------------------------------------------

TEST_F(found_database_test, sync_shows_a_line_for_each_database) {
  serve();
  const outcome first = shell("veltra db sync --cache cache" + served());
  EXPECT_EQ(first.exit_code, 0) << first.errors;
  EXPECT_EQ(first.output,
            "config.json: new\n"
            "modem/1.0/" +
                firmwares_[0].uuid +
                "/fw1.tar.gz: downloaded\n"
                "modem/2.0/" +
                firmwares_[1].uuid +
                "/fw2.json: downloaded\n"
                "modem/3.0/" +
                firmwares_[2].uuid +
                "/fw3.json.gz: downloaded\n"
                "cache: 3 databases, 3 downloaded\n");
  const outcome second = shell("veltra db sync --cache cache");
  EXPECT_EQ(second.exit_code, 0) << second.errors;
  EXPECT_THAT(second.output, AllOf(HasSubstr("fw2.json: intact\n"),
                                   HasSubstr("cache: 3 databases, 0 downloaded\n")));
}

TEST_F(found_database_test, sync_reports_when_what_came_is_not_what_the_catalogue_says) {
  serve();
  server_.answer("/fw2.json", "not here");
  const outcome ended = shell("veltra db sync --cache cache" + served());
  EXPECT_EQ(ended.exit_code, 3);
  EXPECT_THAT(ended.errors,
              AllOf(HasSubstr(firmwares_[1].uuid), HasSubstr(server_.url("/fw2.json")),
                    HasSubstr("does not have the catalogue's digest")));
  EXPECT_FALSE(fs::exists(cached_file(firmwares_[1])));
}

TEST_F(found_database_test, a_database_out_of_reach_ends_sync_with_its_uuid) {
  veltra::write_file(work_.path() / "config.json", catalogue("2024-05-01 12:00:00", 3));
  fs::rename(work_.path() / "fw2.json", work_.path() / "elsewhere.json");
  const outcome ended =
      shell("veltra db sync --cache cache --update --location '${root}config.json' --root file://" +
            work_.path().string());
  EXPECT_EQ(ended.exit_code, 3);
  EXPECT_THAT(ended.output, HasSubstr("fw2.json: failed\n"));
  EXPECT_THAT(ended.errors, AllOf(HasSubstr(firmwares_[1].uuid), HasSubstr("Couldn't open file")));
}

TEST_F(found_database_test, verify_names_what_is_missing_or_damaged_and_list_shows_it) {
  serve();
  ASSERT_EQ(shell("veltra db sync --cache cache" + served()).exit_code, 0);
  const outcome intact = shell("veltra db verify --cache cache");
  EXPECT_EQ(intact.exit_code, 0);
  EXPECT_EQ(intact.output, "cache: 3 databases, all intact\n");

  fs::remove(cached_file(firmwares_[0]));
  veltra::write_file(cached_file(firmwares_[1]), "damaged");
  const outcome faulty = shell("veltra db verify --cache cache");
  EXPECT_EQ(faulty.exit_code, 3);
  EXPECT_THAT(faulty.errors,
              AllOf(HasSubstr(firmwares_[0].uuid + "): missing"),
                    HasSubstr(firmwares_[1].uuid + "): damaged"),
                    HasSubstr("2 of 3 databases in cache cannot be used; fetch them with: veltra "
                              "db sync --cache cache --root URL")));
  EXPECT_THAT(faulty.errors, testing::Not(HasSubstr(firmwares_[2].uuid)));

  const outcome listed = shell("veltra db list --cache cache --json");
  EXPECT_EQ(listed.exit_code, 0);
  const auto list = kovax::json::parse(listed.output);
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[0]["state"], "missing");
  EXPECT_EQ(list[1]["state"], "damaged");
  EXPECT_EQ(list[2]["state"], "intact");
  EXPECT_EQ(list[2]["intact"], true);
  EXPECT_EQ(list[2]["uuid"], firmwares_[2].uuid);
}

TEST_F(found_database_test, a_cache_of_no_database_is_not_in_order) {
  work_.write("cache/config.json", R"({"firmwares": {"updated_timestamp": "", "devices": []}})");
  for (const char* command : {"verify", "sync"}) {
    const outcome ended = shell(std::string("veltra db ") + command + " --cache cache");
    EXPECT_EQ(ended.exit_code, 3) << command;
    EXPECT_THAT(ended.errors, HasSubstr("the catalogue of the cache cache lists no database"));
  }
}

TEST_F(found_database_test, show_counts_what_is_in_a_database_file) {
  const outcome shown = shell("veltra db show fw1.tar.gz");
  EXPECT_EQ(shown.exit_code, 0) << shown.errors;
  EXPECT_THAT(shown.output, AllOf(HasSubstr("fw1.tar.gz: 1 database\n"),
                                  HasSubstr(firmwares_[0].uuid), HasSubstr("traces")));
  const outcome none = shell("veltra db show trace1.0.bin");
  EXPECT_EQ(none.exit_code, 3);
  EXPECT_THAT(none.errors, HasSubstr("trace1.0.bin: Database file extension needs to be"));
}

}  // namespace
