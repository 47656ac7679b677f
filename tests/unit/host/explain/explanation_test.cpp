#include "host/explain/explanation.h"

#include <gmock/gmock.h>

#include "host/commands/explained_run.h"
#include "host/database/database_match.h"
#include "host/simulate/frame_encoder.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/database_builder.h"
#include "tests/support/temp_directory.h"
#include "tests/support/trace_builder.h"

namespace veltra::host {
namespace {

using test_support::build_trace;
using test_support::trace_header;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;
namespace id = test_support::id;

class explanation_test : public testing::Test {
 protected:
  explanation_test() {
    database_["meta"]["connection_configs"]["dekodrix_config"] = kovax::json::parse(
        R"({"format": "veltra-frames", "version": 1,
            "masters": [{"id": 33, "name": "MCU", "aliases": []}]})");
  }

  void add(const trace_header& header, std::string_view body, std::uint32_t master = 33) {
    frame_encoder(master, next_++).append(build_trace(header, body), 0, trace_);
  }

  diagnosis::trace_analysis analyse() {
    trace_name_ = platform::path_to_utf8(directory_.write("t.bin", trace_));
    database_name_ = platform::path_to_utf8(directory_.write("d.json", database_.dump()));
    return analyse_trace(trace_name_, database_name_);
  }

  test_support::temp_directory directory_;
  kovax::json database_ = test_support::conversion_database();
  std::string trace_;
  std::uint32_t next_ = 0;
  std::string trace_name_;
  std::string database_name_;
};

TEST_F(explanation_test, frames_traces_and_packets_are_counted) {
  trace_ = "noise";
  add({.id = id::peer_dump, .buffer_id = id::ip_buffer}, "IP");
  add({.id = id::peer_dump, .buffer_id = id::ip_buffer}, "IP");
  add({.id = id::peer_dump, .buffer_id = id::ip_buffer}, "IP", 77);
  trace_ +=
      "\x7E"
      "damaged by the line\x7E";
  const auto found = analyse();
  EXPECT_TRUE(found.is_open_format);
  EXPECT_EQ(found.bytes, trace_.size());
  EXPECT_EQ(found.frames_found, 4U);
  EXPECT_EQ(found.frames_intact, 3U);
  EXPECT_EQ(found.frames_damaged, 1U);
  EXPECT_EQ(found.bytes_outside_frames, 5U);
  EXPECT_THAT(found.unknown_masters, ElementsAre(Pair(77U, 1U)));
  EXPECT_EQ(found.traces, 2U);
  EXPECT_THAT(found.traces_by_type, ElementsAre(Pair(Pair(33U, "peer_dump"), 2U)));
  EXPECT_THAT(found.packets_by_layer, ElementsAre(Pair("ip", 2U)));
  EXPECT_THAT(found.traces_without_packet, testing::IsEmpty());
}

TEST_F(explanation_test, each_trace_without_a_packet_has_its_reason) {
  add({.id = id::other}, "x");
  add({.id = id::peer_dump, .peer_layer = 99, .buffer_id = id::dl_dcch_buffer}, "x");
  add({.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = "71"}, "x");
  add({.id = 250}, "x");
  frame_encoder(33, next_++).append("abcd", 0, trace_);
  database_["peer_buffers"].push_back({{"id", 72}, {"layer", 7}, {"name", "n"}, {"type", "SIB"}});
  add({.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = "72"}, "x");
  database_["traces"].push_back({{"id", 251}, {"format", "%d"}, {"format_items", {{"size", 1}}}});
  add({.id = 251}, "x");
  database_["traces"].push_back({{"id", 252}, {"format", 5}, {"format_items", {{"size", 1}}}});
  add({.id = 252}, "x");
  EXPECT_THAT(
      analyse().traces_without_packet,
      ElementsAre(Pair("a buffer that the database does not have for its peer layer", 1U),
                  Pair("a definition of a wrong type, which ends a run", 1U),
                  Pair("a format that no rule reads", 1U),
                  Pair("a message type that no rule reads", 1U),
                  Pair("a peer layer that is not in the database", 1U),
                  Pair("a trace id that the database does not define", 1U),
                  Pair("a type that no rule reads", 1U), Pair("not longer than the trace id", 1U)));
}

TEST_F(explanation_test, a_database_without_type_mapping_is_the_reason) {
  database_["meta"].erase("type_mapping");
  add({.id = id::peer_dump, .peer_layer = id::nas_layer, .buffer_id = id::nas_buffer}, "x");
  EXPECT_THAT(analyse().traces_without_packet,
              ElementsAre(Pair("the database maps no types (\"type_mapping\")", 1U)));
}

TEST_F(explanation_test, the_table_and_the_sentence_have_the_same_numbers) {
  add({.id = id::other}, "UID %s 3f2504e0-4f89-41d3-9a0c-0305e82c3301..");
  for (int i = 0; i < 10; ++i) add({.id = id::other}, "x", 77);
  const auto found = analyse();
  EXPECT_THAT(format_analysis("t.bin", "d.json", found),
              AllOf(StartsWith("t.bin: "), HasSubstr("3f2504e0-4f89-41d3-9a0c-0305e82c3301\n"),
                    HasSubstr("0a1b2c3d-0000-4000-8000-00112233aabb, ANOTHER ONE\n"),
                    testing::ContainsRegex("\n  frames found +11\n    intact +11\n"),
                    testing::ContainsRegex("\n        master 77 +10\n")));
  EXPECT_THAT(summarise_analysis(found),
              AllOf(HasSubstr("11 frames (11 intact, 0 damaged, 10 of unknown masters) and 1 "
                              "traces, 1 of which became no packet (mostly: a type that no rule "
                              "reads); the trace names the database "
                              "3f2504e0-4f89-41d3-9a0c-0305e82c3301, and the one in use is "
                              "0a1b2c3d-0000-4000-8000-00112233aabb."),
                    Not(HasSubstr("\n"))));
  const auto report = kovax::json::parse(format_analysis_json("t.bin", "d.json", found));
  EXPECT_EQ(report["frames"]["found"], 11);
  EXPECT_EQ(report["frames"]["unknown_masters"]["77"], 10);
  EXPECT_EQ(report["traces"][0]["count"], 1);
  EXPECT_EQ(report["without_packet"]["a type that no rule reads"], 1);
  EXPECT_EQ(report["database_fits"], false);
}

TEST_F(explanation_test, the_database_of_another_decoder_leaves_the_uuid) {
  database_["meta"]["connection_configs"]["dekodrix_config"]["format"] = "other";
  trace_ = "UID %s 0a1b2c3d-0000-4000-8000-00112233aabb..";
  const auto found = analyse();
  EXPECT_FALSE(found.is_open_format);
  EXPECT_THAT(format_analysis("t", "d", found),
              AllOf(HasSubstr("00112233aabb, the same\n"), HasSubstr("another decoder")));
  EXPECT_FALSE(kovax::json::parse(format_analysis_json("t", "d", found)).contains("frames"));
}

TEST_F(explanation_test, a_database_that_would_end_the_process_is_refused) {
  database_["buffers"][0].erase("id");
  EXPECT_THROW(analyse(), user_error);
}

TEST_F(explanation_test, an_error_that_nothing_was_decoded_says_what_was_found) {
  add({.id = id::other}, "x");
  analyse();
  database_options options;
  options.file = database_name_;
  const auto message_of = [&](exit_code code) {
    try {
      explain_empty_run(trace_name_, options,
                        [&]() -> exit_code { throw user_error(code, "Nothing."); });
    } catch (const user_error& error) {
      EXPECT_EQ(error.code(), code);
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_THAT(message_of(exit_code::nothing_decoded),
              StartsWith("Nothing. Its " + std::to_string(trace_.size()) + " bytes contain 1 "));
  EXPECT_EQ(message_of(exit_code::run_failed), "Nothing.");
}

TEST_F(explanation_test, a_strict_run_refuses_the_wrong_database_and_a_trace_without_a_uuid) {
  trace_ = "UID %s 0a1b2c3d-0000-4000-8000-00112233aabb..";
  analyse();
  EXPECT_NO_THROW(require_match(trace_name_, database_name_));
  trace_[8] = 'f';
  analyse();
  EXPECT_THROW(require_match(trace_name_, database_name_), user_error);
  trace_.clear();
  analyse();
  EXPECT_THROW(require_match(trace_name_, database_name_), user_error);
}

}  // namespace
}  // namespace veltra::host
