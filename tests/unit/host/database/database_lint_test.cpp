#include "host/database/database_lint.h"

#include <gmock/gmock.h>

#include "host/database/archive_lint.h"
#include "implementation/json.h"
#include "tests/support/database_builder.h"
#include "tests/support/tar_builder.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using kovax::json;
using test_support::compress;
using test_support::conversion_database;
using test_support::tar_archive;
using test_support::tar_directory;
using test_support::tar_end;
using test_support::tar_file;
using test_support::tar_header;
using test_support::tar_member;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class database_lint_test : public testing::Test {
 protected:
  database_lint_test() { database["meta"]["name"] = "MCU"; }

  std::vector<finding> lint_file(const std::string& name, const std::string& content) {
    return lint_database_file(directory.write(name, content)).findings;
  }

  // "fatal /meta/id: is missing" and so on, in order.
  static std::vector<std::string> lines(const std::vector<finding>& findings) {
    std::vector<std::string> result;
    for (const finding& each : findings) {
      const char* name = each.severity == severity::warning ? "warning "
                         : each.severity == severity::fault ? "fault "
                                                            : "fatal ";
      result.push_back(name + describe_finding(each));
    }
    return result;
  }

  std::vector<std::string> lint() { return lines(lint_file("db.json", database.dump())); }
  std::vector<std::string> lint_tar(const std::string& archive) {
    return lines(lint_file("db.tar.gz", compress(archive)));
  }

  test_support::temp_directory directory;
  json database = conversion_database();
};

TEST_F(database_lint_test, a_sound_database_has_no_finding) {
  EXPECT_THAT(lint(), IsEmpty());
  EXPECT_THAT(lint_tar(tar_archive({{"mcu.json", database.dump()}})), IsEmpty());
}

TEST_F(database_lint_test, every_fault_is_named_and_not_only_the_first) {
  database["meta"].erase("id");
  database["meta"]["trace_id_size"] = 5;
  database["meta"]["endianness"] = 1;
  database["buffers"][2].erase("name");
  database["traces"][1]["id"] = "201";
  database["static_data"]["static_strings"][0].erase("value");
  database["meta"]["trace_type_descriptors"][0].erase("conditions");
  database["meta"]["trace_type_descriptors"][1].erase("type");
  database["meta"]["trace_type_descriptors"][2]["conditions"][0] =
      json::parse(R"({"id_range": {"min": 1}})");
  EXPECT_THAT(
      lint(),
      ElementsAre("fatal /meta/id: is missing",
                  "fatal /meta/endianness: is of type number, and a string is needed",
                  "fatal /meta/trace_id_size: is 5, and at most 4 bytes are read",
                  "fatal /meta/trace_type_descriptors/0/conditions: is missing",
                  "fatal /meta/trace_type_descriptors/1/type: is missing",
                  "fatal /meta/trace_type_descriptors/2/conditions/0/id_range/max: is missing",
                  "fatal /buffers/2/name: is missing",
                  "fatal /traces/1/id: is of type string, and a number is needed",
                  "fatal /static_data/static_strings/0/value: is missing"));
}

TEST_F(database_lint_test, what_is_no_json_is_named_with_its_place) {
  EXPECT_THAT(lines(lint_file("db.json", "{\n  \"meta\": }")),
              ElementsAre(HasSubstr("fatal is not JSON: parse error at line 2, column 11")));
  EXPECT_THAT(lines(lint_file("db.json", "[]")),
              ElementsAre("fatal is of type array, and an object is needed"));
  EXPECT_THAT(lines(lint_file("db.json", std::string(600, '[') + std::string(600, ']'))),
              ElementsAre("fatal is nested in more than 512 levels"));
}

TEST_F(database_lint_test, masters_without_their_members_are_named) {
  database["meta"]["aliases"] = json::parse(R"([{"id": 5}, {}])");
  database["meta"]["connection_configs"]["dekodrix_config"]["masters"] =
      json::parse(R"([{"id": 33, "aliases": [1, "x"]}, {"aliases": []}, {"id": 33}])");
  const std::string masters = "fatal /meta/connection_configs/dekodrix_config/masters/";
  EXPECT_THAT(lint(),
              ElementsAre("fatal /meta/aliases/1/id: is missing",
                          masters + "0/aliases/1: is of type string, and a number is needed",
                          masters + "1/id: is missing", masters + "2/aliases: is missing"));
}

TEST_F(database_lint_test, what_ends_a_run_later_is_a_fault) {
  database["peer_buffers"][0]["id"] = "70";
  database["peer_buffers"][1]["type"] = 5;
  database["traces"][0]["format_items"][0]["reference"] = json();
  database["traces"][1]["format_items"][0].erase("size");
  database["traces"][1]["format_items"][2]["size"] = 5;
  EXPECT_THAT(
      lint(),
      ElementsAre(
          "fault /peer_buffers/0/id: is not a number; a trace that needs it ends the run",
          "fault /peer_buffers/1/type: is not a string; a trace that needs it ends the run",
          "fault /traces/0/format_items/0/reference: is not a number; a trace that needs it ends "
          "the run",
          "fault /traces/1/format_items/0/size: is missing; a trace that needs it ends the run",
          "fatal /traces/1/format_items/2/size: is above 4; a trace that needs it stops the "
          "process"));
}

TEST_F(database_lint_test, suspicious_content_is_a_warning) {
  database["meta"]["trace_id_size"] = 1;
  database["meta"]["trace_type_descriptors"][1]["conditions"][0]["id_range"] =
      json::parse(R"({"min": 299, "max": 200})");
  database["buffers"][1]["id"] = 1;
  database["buffers"][2]["id"] = -1;
  database["traces"].push_back({{"id", 256}, {"format", "%d"}, {"format_items", json::array()}});
  database["traces"].push_back({{"id", 257}, {"format", "%s"}, {"format_items", json::array()}});
  database["peer_buffers"].push_back(database["peer_buffers"][0]);
  database["peer_buffers"][0]["type"] = "ASN_DL";
  database["peer_buffers"][1]["layer"] = 9;
  database["static_data"]["static_strings"][0]["id"] = 899;
  EXPECT_THAT(
      lint(),
      ElementsAre(
          "warning /meta/trace_type_descriptors/1/conditions/0/id_range: is upside down: the "
          "minimum 299 is above the maximum 200",
          "warning /meta/trace_type_descriptors/2/conditions/0/trace_id: is 300, which a trace id "
          "of 1 byte cannot be",
          "warning /buffers/1/id: is 1 as in /buffers/0; the last one counts",
          "warning /buffers/2/id: is -1, which counts as 4294967295",
          "warning /peer_buffers/1/layer: is 9, which is not in /peer_buffer_layers; no trace is "
          "read with it",
          "warning /peer_buffers/2: has the id 70 and the layer 7 as /peer_buffers/0 has; the "
          "first one counts",
          "warning /peer_buffers/0/type: no rule reads this type",
          "warning /traces/0/format_items/0/reference: is 900, which is not in "
          "/static_data/static_strings",
          "warning /traces/2/id: does not fit into a trace id of 1 byte (the first of 2)",
          "warning /traces/2: no rule reads this format (the first of 2)"));
}

TEST_F(database_lint_test, what_the_plug_in_passes_over_is_a_warning_and_not_a_fault) {
  database["meta"]["trace_type_descriptors"][0]["conditions"] = "none";
  database["peer_buffer_layers"] = 5;
  database["peer_buffers"] = json::array();
  database["buffers"] = json();
  EXPECT_THAT(lint(), ElementsAre("warning /meta/trace_type_descriptors/0/conditions: is of type "
                                  "string, and an array is needed",
                                  "warning /buffers: is null, and an array is needed",
                                  "warning /peer_buffer_layers: is of type number, and an array "
                                  "is needed"));
}

TEST_F(database_lint_test, a_configuration_that_the_open_decoder_refuses_is_a_fault) {
  json& config = database["meta"]["connection_configs"]["dekodrix_config"];
  config = json::parse(R"({"format": "veltra-frames", "version": 2, "masters": []})");
  EXPECT_THAT(lint(), ElementsAre("fault /meta/connection_configs/dekodrix_config: is not a "
                                  "configuration that the open decoder takes"));
  config["format"] = "another";
  EXPECT_THAT(lint(), IsEmpty());
}

TEST_F(database_lint_test, a_database_that_no_stream_can_name_is_a_warning) {
  database["meta"]["uuid"] = "3f2504e0";
  EXPECT_THAT(lint(),
              ElementsAre("warning /meta/uuid: is not a UUID; no stream can name this database"));
}

TEST_F(database_lint_test, a_file_without_decoder_configuration_is_a_fault) {
  database["meta"].erase("connection_configs");
  EXPECT_THAT(lint(), ElementsAre("fault no database that is named MCU or M4 has a decoder "
                                  "configuration"));
}

TEST_F(database_lint_test, a_cut_archive_is_called_that_wherever_it_is_cut) {
  const std::string whole = compress(tar_archive({{"mcu.json", database.dump()}}));
  for (std::size_t size = 20; size < whole.size(); size += 37) {
    EXPECT_THAT(lines(lint_file("db.gz", whole.substr(0, size))),
                Contains(HasSubstr("fault the compressed file is cut off")))
        << size << " bytes";
  }
}

TEST_F(database_lint_test, an_archive_that_was_cut_before_it_was_compressed_is_named) {
  const std::string archive = tar_archive({{"mcu.json", database.dump()}});
  EXPECT_THAT(lint_tar(archive.substr(0, 600)),
              Contains(HasSubstr("fault mcu.json: cut off: 88 of ")));
  EXPECT_THAT(lint_tar(archive.substr(0, archive.size() - 1024)),
              ElementsAre("warning there is no end block; the archive may be cut off"));
}

TEST_F(database_lint_test, what_ends_the_reading_is_named_and_the_rest_is_checked) {
  auto broken = database;
  broken["meta"].erase("id");
  const std::string ends = "; the reader ends here, and what follows is not read";
  EXPECT_THAT(lint_tar(tar_directory("db/") + tar_file("db/mcu.json", broken.dump()) + tar_end()),
              AllOf(Contains("fault db/: a folder; archive the files without it" + ends),
                    Contains("fatal db/mcu.json: /meta/id: is missing")));
  const std::string pax = tar_member(tar_header("pax", 10, 'x').seal(), "10 path=x\n");
  EXPECT_THAT(lint_tar(pax + tar_file("mcu.json", database.dump()) + tar_end()),
              Contains("fault pax: a pax header; write the archive with --format=ustar" + ends));
  EXPECT_THAT(lint_tar(tar_file("mcu.json", database.dump()) +
                       tar_header("link", 0, '2').seal().block() + tar_end()),
              ElementsAre("fault link: a symbolic link" + ends));
  EXPECT_THAT(lint_tar(tar_file("mcu.json", database.dump()) + tar_file("empty", "") + tar_end()),
              ElementsAre("fault empty: an empty file" + ends));
}

TEST_F(database_lint_test, an_archive_that_inflates_to_too_much_is_named_and_not_held) {
  const std::string bytes = compress(tar_archive({{"mcu.json", std::string(10'000, ' ')}}));
  EXPECT_THAT(inspect_archive(bytes).members, testing::SizeIs(1));
  const archive_contents contents = inspect_archive(bytes, 5000);
  EXPECT_THAT(contents.members, IsEmpty());
  ASSERT_EQ(contents.findings.size(), 1U);
  EXPECT_EQ(contents.findings[0].text,
            "the archive inflates to more than 5000 bytes, and no more are checked");
}

TEST_F(database_lint_test, what_is_no_archive_is_named) {
  EXPECT_THAT(lines(lint_file("db.gz", "no archive")),
              ElementsAre(HasSubstr("fatal not a gzip-compressed archive, or damaged")));
  EXPECT_THAT(lines(lint_file("db.gz", compress(std::string(2000, 'x')))),
              Contains(HasSubstr("fault not a ustar archive")));
}

TEST_F(database_lint_test, bytes_behind_the_compressed_stream_are_a_warning) {
  const std::string whole = compress(tar_archive({{"mcu.json", database.dump()}}));
  EXPECT_THAT(lines(lint_file("db.gz", whole + "more")),
              ElementsAre("warning 4 bytes behind the compressed stream are not read"));
}

TEST_F(database_lint_test, databases_of_an_archive_that_contradict_each_other_are_named) {
  auto other = database;
  other["meta"]["name"] = "M4";
  other["meta"]["uuid"] = "ffffffff-0000-4000-8000-00112233aabb";
  EXPECT_THAT(
      lint_tar(tar_archive({{"mcu.json", database.dump()}, {"m4.json", other.dump()}})),
      ElementsAre(
          "warning m4.json: /meta/uuid: is not 0a1b2c3d-0000-4000-8000-00112233aabb as before; "
          "the last one counts",
          "warning m4.json: /meta: accepts the master id 33 as mcu.json does; the first one "
          "counts"));
}

TEST_F(database_lint_test, findings_are_shown_without_control_characters_and_as_json) {
  const std::vector<finding> findings = {{severity::fatal, "a\x1b.json", "/meta/id", "is missing"},
                                         {severity::warning, "", "/x", "is odd"}};
  EXPECT_EQ(format_findings("db\n.gz", findings),
            "db?.gz: fault: a?.json: /meta/id: is missing\n"
            "db?.gz: warning: /x: is odd\n"
            "db?.gz: 1 fault and 1 warning\n");
  const json report = json::parse(format_findings_json("db.gz", findings));
  EXPECT_EQ(report["faults"], 1);
  EXPECT_EQ(report["warnings"], 1);
  EXPECT_EQ(report["findings"][0]["path"], "/meta/id");
  EXPECT_EQ(report["findings"][0]["member"], "a\x1b.json");
}

}  // namespace
}  // namespace veltra::host
