// kovax_source_init checks its parameters in a fixed order; of two faults the
// earlier one is reported.
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/source_fixture.h"
#include "tests/support/unopenable_file.h"

namespace {

using kovax::json;
using testing::HasSubstr;

// A fault that can be put into sound parameters, in the order of the checks.
struct fault {
  const char* name;
  void (*apply)(json& parameters);
  const char* message;  // a part of the text that is reported
};

constexpr fault faults[] = {
    {"trace_file_type", [](json& p) { p["file_path"] = 5; }, "type must be string, but is number"},
    {"serial_parity",
     [](json& p) {
       p["serialport"] = {{"path", "tty"}, {"settings", {{"parity", "ODD"}}}};
     },
     "parity cannot be converted allowed values are: none, odd, even"},
    {"database_missing", [](json& p) { p["db_file_path"] = "/nowhere/veltra.json"; },
     "database file does not exist"},
    {"chunk_size_type", [](json& p) { p["chunk_size"] = true; },
     "type must be number, but is boolean"},
    {"auto_detection",
     [](json& p) {
       p["auto_detect_db_config"] = {{"cache_directory", "/dev/null/cache"}};
     },
     "/dev/null/cache"},
};

class init_order_test : public test_support::source_fixture,
                        public testing::WithParamInterface<std::tuple<std::size_t, std::size_t>> {};

TEST_P(init_order_test, the_earlier_fault_is_reported) {
  const auto [first, second] = GetParam();
  json parameters = {{"file_path", write_trace("x")}};
  faults[second].apply(parameters);
  faults[first].apply(parameters);
  EXPECT_THAT(init_failure(parameters), HasSubstr(faults[first].message))
      << faults[first].name << " comes before " << faults[second].name;
}

std::vector<std::tuple<std::size_t, std::size_t>> pairs() {
  std::vector<std::tuple<std::size_t, std::size_t>> result;
  for (std::size_t first = 0; first < std::size(faults); ++first) {
    for (std::size_t second = first + 1; second < std::size(faults); ++second) {
      result.emplace_back(first, second);
    }
  }
  return result;
}

std::string pair_name(const testing::TestParamInfo<std::tuple<std::size_t, std::size_t>>& pair) {
  return std::string(faults[std::get<0>(pair.param)].name) + "_before_" +
         faults[std::get<1>(pair.param)].name;
}

INSTANTIATE_TEST_SUITE_P(pairs, init_order_test, testing::ValuesIn(pairs()), pair_name);

class single_fault_test : public test_support::source_fixture,
                          public testing::WithParamInterface<std::size_t> {};

TEST_P(single_fault_test, is_reported) {
  json parameters = {{"file_path", write_trace("x")}};
  faults[GetParam()].apply(parameters);
  EXPECT_THAT(init_failure(parameters), HasSubstr(faults[GetParam()].message));
}

// The last fault needs that no database is named, as it is here.
INSTANTIATE_TEST_SUITE_P(faults, single_fault_test,
                         testing::Range(std::size_t{0}, std::size(faults)),
                         [](const auto& index) { return std::string(faults[index.param].name); });

class init_sequence_test : public test_support::source_fixture {};

TEST_F(init_sequence_test, a_missing_trace_file_comes_before_a_wrong_chunk_size) {
  EXPECT_EQ(init_failure({{"file_path", "/nowhere/veltra.bin"}, {"chunk_size", true}}),
            "trace file does not exist");
}

TEST_F(init_sequence_test, a_missing_trace_file_comes_before_a_missing_database) {
  EXPECT_EQ(init_failure(
                {{"file_path", "/nowhere/veltra.bin"}, {"db_file_path", "/nowhere/veltra.json"}}),
            "trace file does not exist");
}

TEST_F(init_sequence_test, a_missing_database_comes_before_the_missing_input) {
  EXPECT_EQ(init_failure({{"db_file_path", "/nowhere/veltra.json"}}),
            "database file does not exist");
}

TEST_F(init_sequence_test, a_wrong_chunk_size_comes_before_the_missing_input) {
  EXPECT_THAT(init_failure({{"chunk_size", "1024"}}),
              HasSubstr("type must be number, but is string"));
}

TEST_F(init_sequence_test, auto_detection_comes_before_the_missing_input) {
  EXPECT_THAT(init_failure({{"auto_detect_db_config", {{"cache_directory", "/dev/null/cache"}}}}),
              HasSubstr("/dev/null/cache"));
}

TEST_F(init_sequence_test, the_missing_input_comes_before_a_broken_database) {
  EXPECT_EQ(init_failure({{"db_file_path", write_database(json::array())}}),
            "veltra plugin missing trace file path or serialport");
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(init_sequence_test, the_trace_file_is_opened_before_the_database_is_loaded) {
  const auto path = directory.path() / "unopenable.bin";
  const test_support::unopenable_file file(path);
  EXPECT_EQ(init_failure({{"file_path", path.string()},
                          {"db_file_path", write_database(test_support::minimal_database())}}),
            "trace_file could not be opened at " + path.string());
  EXPECT_EQ(decoder.call_count(), 0U);
  EXPECT_TRUE(session.logs.empty());
}

}  // namespace
