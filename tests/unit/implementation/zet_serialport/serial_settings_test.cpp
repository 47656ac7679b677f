// Reading the "serialport" object of the init parameters, and the settings' text.
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "implementation/json.h"
#include "implementation/zet_serialport/zet_serialport_settings.h"

namespace zet_serialport_lib {
namespace {

using kovax::json;

zet_serialport_settings initial_settings() {
  zet_serialport_settings settings;
  settings.baud_rate = 1000000;
  settings.parity = parity::none;
  settings.stop_bits = stop_bits::one;
  settings.flow_control = flow_control::none;
  settings.character_size = std::uint8_t{8};
  return settings;
}

std::string plain(const json& value) {
  return value.get<std::string>();
}

class serial_settings : public ::testing::Test {
 protected:
  void parse(const json& parameters) {
    parse_serial_port_parameters(parameters, path_, settings_, plain);
  }

  void parse_settings(const char* text) {
    parse({{"serialport", {{"settings", json::parse(text)}}}});
  }

  // The text of the JSON library's error with this id, or a failure.
  std::string type_error_of(const char* text, int id) {
    try {
      parse_settings(text);
    } catch (const json::type_error& error) {
      EXPECT_EQ(error.id, id);
      return error.what();
    }
    ADD_FAILURE() << "accepted " << text;
    return {};
  }

  std::string refusal_of(const char* text) {
    try {
      parse_settings(text);
    } catch (const json::exception& error) {
      ADD_FAILURE() << "refused as JSON: " << error.what();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    ADD_FAILURE() << "accepted " << text;
    return {};
  }

  std::string path_ = "before";
  zet_serialport_settings settings_ = initial_settings();
};

TEST_F(serial_settings, every_key_is_read) {
  parse(json::parse(R"({"serialport": {"path": "/dev/ttyUSB1", "settings": {
      "baud_rate": 115200, "data_bits": 7, "stop_bits": 2, "parity": "even",
      "flow_control": "hw"}}})"));
  EXPECT_EQ(path_, "/dev/ttyUSB1");
  EXPECT_EQ(settings_.baud_rate, 115200U);
  EXPECT_EQ(settings_.character_size, 7);
  EXPECT_EQ(settings_.stop_bits, stop_bits::two);
  EXPECT_EQ(settings_.parity, parity::even);
  EXPECT_EQ(settings_.flow_control, flow_control::hardware);
}

TEST_F(serial_settings, the_numbers_are_those_of_the_device_control_block) {
  EXPECT_EQ(std::pair(static_cast<int>(parity::odd), static_cast<int>(parity::even)),
            std::pair(1, 2));
  EXPECT_EQ(static_cast<int>(stop_bits::one), 0);
  EXPECT_EQ(static_cast<int>(stop_bits::one_and_a_half), 1);
  EXPECT_EQ(static_cast<int>(stop_bits::two), 2);
  EXPECT_EQ(static_cast<int>(flow_control::software), 1);
  EXPECT_EQ(static_cast<int>(flow_control::hardware), 2);
}

TEST_F(serial_settings, parameters_that_are_no_object_change_nothing) {
  for (const char* text : {"[]", "null", "3", "\"serialport\"", "{}", R"({"Serialport": {}})"}) {
    parse(json::parse(text));
    EXPECT_EQ(path_, "before") << text;
    EXPECT_EQ(settings_, initial_settings()) << text;
  }
}

TEST_F(serial_settings, a_serialport_that_is_no_object_is_ignored) {
  for (const char* text : {"\"/dev/ttyS0\"", "null", "1", "[\"path\"]", "true"}) {
    parse({{"serialport", json::parse(text)}});
    EXPECT_EQ(path_, "before") << text;
    EXPECT_EQ(settings_, initial_settings()) << text;
  }
}

TEST_F(serial_settings, settings_that_are_no_object_are_ignored) {
  for (const char* text : {"\"115200\"", "null", "115200", "[1]"}) {
    parse({{"serialport", {{"path", "COM4"}, {"settings", json::parse(text)}}}});
    EXPECT_EQ(path_, "COM4");
    EXPECT_EQ(settings_, initial_settings()) << text;
  }
}

TEST_F(serial_settings, a_path_without_settings_keeps_the_initial_record) {
  parse({{"serialport", {{"path", "/dev/ttyACM0"}}}});
  EXPECT_EQ(path_, "/dev/ttyACM0");
  EXPECT_EQ(
      to_string(settings_),
      "baud_rate: 1000000; character_size: 8; parity: none; stopbits: 1; flow_control: none ");
}

TEST_F(serial_settings, an_absent_key_keeps_a_field_that_was_not_set) {
  settings_ = {};
  parse_settings(R"({"baud_rate": 9600})");
  zet_serialport_settings expected;
  expected.baud_rate = 9600;
  EXPECT_EQ(settings_, expected);
}

TEST_F(serial_settings, keys_are_case_sensitive_and_unknown_ones_ignored) {
  parse_settings(R"({"Baud_rate": 1, "DATA_BITS": 5, "bits": "x"})");
  EXPECT_EQ(settings_, initial_settings());
}

TEST_F(serial_settings, a_path_that_is_no_string_is_a_type_error) {
  try {
    parse({{"serialport", {{"path", 4}}}});
    FAIL() << "accepted";
  } catch (const json::type_error& error) {
    EXPECT_EQ(error.id, 302);
    EXPECT_NE(std::string(error.what()).find("type must be string, but is number"),
              std::string::npos);
  }
  EXPECT_EQ(path_, "before");
}

TEST_F(serial_settings, the_baud_rate_keeps_the_low_32_bits_of_an_integer) {
  const std::pair<const char*, std::uint32_t> cases[] = {{"1000000", 1000000U},
                                                         {"true", 1U},
                                                         {"false", 0U},
                                                         {"-1", 4294967295U},
                                                         {"4294967296", 0U},
                                                         {"4294967297", 1U},
                                                         {"-4294967297", 0xFFFFFFFFU},
                                                         {"18446744073709551615", 0xFFFFFFFFU},
                                                         {"-9223372036854775808", 0U}};
  for (const auto& [text, expected] : cases) {
    parse({{"serialport", {{"settings", {{"baud_rate", json::parse(text)}}}}}});
    EXPECT_EQ(settings_.baud_rate, expected) << text;
  }
}

TEST_F(serial_settings, a_fraction_is_cut_off_and_out_of_range_numbers_wrap) {
  const std::pair<const char*, std::uint32_t> cases[] = {{"115200.9", 115200U},
                                                         {"0.99", 0U},
                                                         {"-0.99", 0U},
                                                         {"-1.5", 4294967295U},
                                                         {"4294967295.5", 4294967295U},
                                                         {"4294967298.0", 2U},
                                                         {"-4294967298.0", 4294967294U},
                                                         {"1.8446744073709552e19", 0U},
                                                         {"9.3e18", 4213309440U},
                                                         {"1e300", 0U},
                                                         {"-1e300", 0U}};
  for (const auto& [text, expected] : cases) {
    parse({{"serialport", {{"settings", {{"baud_rate", json::parse(text)}}}}}});
    EXPECT_EQ(settings_.baud_rate, expected) << text;
  }
}

TEST_F(serial_settings, a_baud_rate_of_another_type_is_a_type_error) {
  EXPECT_NE(
      type_error_of(R"({"baud_rate": "9600"})", 302).find("type must be number, but is string"),
      std::string::npos);
  EXPECT_NE(type_error_of(R"({"baud_rate": null})", 302).find("type must be number, but is null"),
            std::string::npos);
  EXPECT_NE(type_error_of(R"({"baud_rate": [1]})", 302).find("type must be number, but is array"),
            std::string::npos);
  EXPECT_NE(type_error_of(R"({"baud_rate": {}})", 302).find("type must be number, but is object"),
            std::string::npos);
}

TEST_F(serial_settings, data_bits_keep_the_low_8_bits) {
  const std::pair<const char*, int> cases[] = {{"264", 8}, {"7.9", 7},  {"true", 1}, {"5", 5},
                                               {"12", 12}, {"-1", 255}, {"256", 0},  {"1e300", 0}};
  for (const auto& [text, expected] : cases) {
    parse({{"serialport", {{"settings", {{"data_bits", json::parse(text)}}}}}});
    EXPECT_EQ(settings_.character_size, expected) << text;
  }
  EXPECT_NE(type_error_of(R"({"data_bits": "8"})", 302).find("type must be number, but is string"),
            std::string::npos);
}

TEST_F(serial_settings, any_other_number_means_two_stop_bits) {
  const std::pair<const char*, stop_bits> cases[] = {
      {"1", stop_bits::one},  {"1.0", stop_bits::one},  {"1.5", stop_bits::one_and_a_half},
      {"2", stop_bits::two},  {"0", stop_bits::two},    {"7", stop_bits::two},
      {"-1", stop_bits::two}, {"1.25", stop_bits::two}, {"18446744073709551615", stop_bits::two}};
  for (const auto& [text, expected] : cases) {
    parse({{"serialport", {{"settings", {{"stop_bits", json::parse(text)}}}}}});
    EXPECT_EQ(settings_.stop_bits, expected) << text;
  }
}

TEST_F(serial_settings, stop_bits_of_another_type_are_a_type_error) {
  EXPECT_NE(type_error_of(R"({"stop_bits": "1"})", 302).find("type must be number, but is string"),
            std::string::npos);
  EXPECT_NE(
      type_error_of(R"({"stop_bits": true})", 302).find("type must be number, but is boolean"),
      std::string::npos);
}

TEST_F(serial_settings, every_parity_name_is_known) {
  const std::pair<const char*, parity> cases[] = {{R"({"parity": "odd"})", parity::odd},
                                                  {R"({"parity": "even"})", parity::even},
                                                  {R"({"parity": "none"})", parity::none}};
  for (const auto& [text, expected] : cases) {
    parse_settings(text);
    EXPECT_EQ(settings_.parity, expected) << text;
  }
}

TEST_F(serial_settings, an_unknown_parity_is_refused) {
  for (const char* text : {R"({"parity": "ODD"})", R"({"parity": ""})", R"({"parity": "mark"})"}) {
    EXPECT_EQ(refusal_of(text), "parity cannot be converted allowed values are: none, odd, even");
  }
  EXPECT_NE(type_error_of(R"({"parity": 1})", 302).find("type must be string, but is number"),
            std::string::npos);
}

TEST_F(serial_settings, every_flow_control_name_is_known) {
  const std::pair<const char*, flow_control> cases[] = {
      {R"({"flow_control": "sw"})", flow_control::software},
      {R"({"flow_control": "hw"})", flow_control::hardware},
      {R"({"flow_control": "none"})", flow_control::none}};
  for (const auto& [text, expected] : cases) {
    parse_settings(text);
    EXPECT_EQ(settings_.flow_control, expected) << text;
  }
}

TEST_F(serial_settings, an_unknown_flow_control_is_refused_with_the_word_parity) {
  for (const char* text : {R"({"flow_control": "rtscts"})", R"({"flow_control": "HW"})"}) {
    EXPECT_EQ(refusal_of(text), "parity cannot be converted allowed values are: none, sw, hw");
  }
  EXPECT_NE(
      type_error_of(R"({"flow_control": null})", 302).find("type must be string, but is null"),
      std::string::npos);
}

TEST_F(serial_settings, what_was_read_before_a_failing_key_stays_stored) {
  EXPECT_THROW(parse(json::parse(R"({"serialport": {"path": "COM9", "settings": {
      "baud_rate": 300, "data_bits": 5, "stop_bits": 1.5, "parity": "odd",
      "flow_control": "rtscts"}}})")),
               std::runtime_error);
  EXPECT_EQ(path_, "COM9");
  EXPECT_EQ(to_string(settings_),
            "baud_rate: 300; character_size: 5; parity: odd; stopbits: 1.5; flow_control: none ");
}

TEST_F(serial_settings, strings_are_expanded_before_they_are_looked_at) {
  const auto expand = [](const json& value) {
    const auto text = value.get<std::string>();
    if (text == "${env:PORT}") return std::string("/dev/ttyUSB7");
    if (text == "${env:PARITY}") return std::string("odd");
    if (text == "${env:FLOW}") return std::string("sw");
    return text;
  };
  parse_serial_port_parameters(json::parse(R"({"serialport": {"path": "${env:PORT}", "settings": {
      "parity": "${env:PARITY}", "flow_control": "${env:FLOW}"}}})"),
                               path_, settings_, expand);
  EXPECT_EQ(path_, "/dev/ttyUSB7");
  EXPECT_EQ(settings_.parity, parity::odd);
  EXPECT_EQ(settings_.flow_control, flow_control::software);
}

TEST_F(serial_settings, the_init_parameters_are_left_unchanged) {
  const json parameters = {{"serialport", {{"path", "COM1"}, {"settings", {{"baud_rate", 1}}}}}};
  const json copy = parameters;
  parse(parameters);
  EXPECT_EQ(parameters, copy);
}

TEST(serial_settings_text, an_empty_record_reads_not_set) {
  EXPECT_EQ(to_string(zet_serialport_settings{}),
            "baud_rate: Not set; character_size: Not set; parity: Not set; stopbits: Not set; "
            "flow_control: Not set ");
}

TEST(serial_settings_text, one_field_set_leaves_the_others_not_set) {
  zet_serialport_settings settings;
  settings.baud_rate = 1000000;
  EXPECT_EQ(to_string(settings),
            "baud_rate: 1000000; character_size: Not set; parity: Not set; stopbits: Not set; "
            "flow_control: Not set ");
}

TEST(serial_settings_text, every_name_appears_as_in_its_table) {
  zet_serialport_settings settings;
  settings.baud_rate = 4294967295;
  settings.character_size = std::uint8_t{255};
  settings.parity = parity::even;
  settings.stop_bits = stop_bits::two;
  settings.flow_control = flow_control::software;
  EXPECT_EQ(to_string(settings),
            "baud_rate: 4294967295; character_size: 255; parity: even; stopbits: 2; "
            "flow_control: sw ");
  settings.parity = parity::odd;
  settings.stop_bits = stop_bits::one_and_a_half;
  settings.flow_control = flow_control::hardware;
  EXPECT_EQ(to_string(settings),
            "baud_rate: 4294967295; character_size: 255; parity: odd; stopbits: 1.5; "
            "flow_control: hw ");
}

TEST(serial_settings_text_death, a_value_outside_its_table_is_a_broken_contract) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  zet_serialport_settings settings;
  settings.parity = static_cast<parity>(3);
  EXPECT_DEATH(static_cast<void>(to_string(settings)),
               "zet_serialport_settings.*found_it != container.cend\\(\\)");
}

}  // namespace
}  // namespace zet_serialport_lib
