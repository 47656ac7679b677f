#include "plugin/schema.h"

#include <gtest/gtest.h>

#include <string>

#include "implementation/json.h"

namespace {

using kovax::json;

const json& schema() {
  static const json parsed = json::parse(veltra::init_parameters_schema);
  return parsed;
}

const json& parameters() {
  return schema()["properties"]["init_parameters"];
}

TEST(schema, is_one_line) {
  EXPECT_EQ(std::string(veltra::init_parameters_schema).find('\n'), std::string::npos);
}

TEST(schema, describes_the_hosts_entry) {
  EXPECT_EQ(schema()["$schema"], "https://json-schema.org/draft/2020-12/schema");
  EXPECT_EQ(schema()["title"], "veltra init parameters");
  EXPECT_EQ(schema()["type"], "object");
  EXPECT_EQ(schema()["additionalProperties"], false);
  EXPECT_EQ(schema()["required"], json({"init_parameters"}));
  EXPECT_EQ(schema()["properties"].size(), 3U);
  EXPECT_EQ(schema()["properties"]["name"], json({{"const", "kovax-veltra-source"}}));
  EXPECT_EQ(schema()["properties"]["path"], json({{"type", "string"}}));
}

TEST(schema, describes_the_five_init_parameters) {
  EXPECT_EQ(parameters()["type"], "object");
  EXPECT_EQ(parameters()["additionalProperties"], false);
  const json& properties = parameters()["properties"];
  EXPECT_EQ(properties.size(), 5U);
  EXPECT_EQ(properties["file_path"],
            json({{"type", "string"}, {"description", "path to trace file bin"}}));
  EXPECT_EQ(properties["db_file_path"],
            json({{"type", "string"},
                  {"description",
                   "path to db.tar.gz or json file overwrites auto_detect_db_config if present"}}));
  EXPECT_EQ(properties["chunk_size"],
            json({{"type", "integer"},
                  {"description", "change file/serialport buffer size default = 1024"}}));
}

TEST(schema, describes_the_serial_port) {
  const json& port = parameters()["properties"]["serialport"];
  EXPECT_EQ(port["type"], "object");
  EXPECT_EQ(port["description"], "serialport settings");
  EXPECT_EQ(port["additionalProperties"], false);
  EXPECT_EQ(port["required"], json({"path"}));
  EXPECT_EQ(port["properties"].size(), 2U);
  EXPECT_EQ(port["properties"]["path"],
            json({{"type", "string"}, {"description", "path or name for serialport device"}}));
  const json& settings = port["properties"]["settings"];
  EXPECT_EQ(settings["type"], "object");
  EXPECT_EQ(settings["description"],
            "settings for serialport for modem trace baudrate needs to be 1000000 ");
  EXPECT_EQ(settings["properties"], json::parse(R"({
              "baud_rate": {"type": "integer"},
              "data_bits": {"type": "integer", "minimum": 5, "maximum": 12,
                            "exclusiveMaximum": true},
              "stop_bits": {"type": "string", "enum": ["1", "1.5", "2"]},
              "parity": {"type": "string", "enum": ["none", "even", "odd"]},
              "flow_control": {"type": "string", "enum": ["none", "hw", "sw"]}})"));
}

TEST(schema, describes_the_automatic_database) {
  const json& database = parameters()["properties"]["auto_detect_db_config"];
  EXPECT_EQ(database["type"], "object");
  EXPECT_EQ(database["additionalProperties"], false);
  EXPECT_EQ(database["required"], json({"cache_directory"}));
  EXPECT_FALSE(database.contains("description"));
  EXPECT_EQ(database["properties"], json::parse(R"({
        "trace_db_locations": {"type": "array",
                               "description": "download priority list of config.json"},
        "cache_directory": {"type": "string", "description": "cache directory location"},
        "update_cache": {"type": "boolean", "description": "try to update config.json"},
        "proxy_setting": {"type": "string", "description": "proxy address with port"},
        "root": {"type": "string", "description":
          "root path (uri/url like http://path or file://fs_path etc.) for trace_db_locations and config.json paths"}})"));
}

}  // namespace
