// Documents nested very deep: whatever reads them must not need the stack for it.
#include <gmock/gmock.h>

#include <cstddef>
#include <ostream>
#include <string>

#include "tests/abi/auto_detect_fixture.h"
#include "tests/support/tar_builder.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using test_support::minimal_database;
using testing::EndsWith;

constexpr auto invalid_database = "Trace database has missing fields or is invalid";
// Stands where the nested text goes: a document is not to be built that deep.
constexpr auto marker = "the nested text";
// Enough for any stack.
constexpr std::size_t bottomless = 1'000'000;

std::string arrays(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

std::string objects(std::size_t depth) {
  std::string text;
  for (std::size_t level = 1; level < depth; ++level) text += R"({"a":)";
  return text + "{}" + std::string(depth - 1, '}');
}

// `document` with `nested` in the marker's place.
std::string with_nested(const json& document, const std::string& nested) {
  std::string text = document.dump();
  const std::string placeholder = json(marker).dump();
  return text.replace(text.find(placeholder), placeholder.size(), nested);
}

// A member of a database that holds something nested, and the levels above it.
struct place {
  const char* name;
  void (*put)(json& database);
  std::size_t levels_above;
};

void PrintTo(const place& value, std::ostream* out) {
  *out << value.name;
}

class nested_database_test : public test_support::source_fixture,
                             public testing::WithParamInterface<place> {
 protected:
  static std::string database(const std::string& nested) {
    auto document = minimal_database();
    GetParam().put(document);
    return with_nested(document, nested);
  }

  json parameters(std::string_view name, std::string_view bytes) const {
    return {{"file_path", write_trace("")},
            {"db_file_path", directory.write(name, bytes).string()}};
  }
};

TEST_P(nested_database_test, is_refused_when_it_is_deeper_than_any_stack) {
  EXPECT_EQ(init_failure(parameters("db.json", database(arrays(bottomless)))), invalid_database);
}

TEST_P(nested_database_test, is_refused_for_objects_as_for_arrays) {
  EXPECT_EQ(init_failure(parameters("db.json", database(objects(bottomless)))), invalid_database);
}

TEST_P(nested_database_test, is_refused_in_an_archive) {
  const auto tar = test_support::tar_archive({{"db.json", database(arrays(bottomless))}});
  EXPECT_EQ(init_failure(parameters("db.tar.gz", test_support::compress(tar))), invalid_database);
}

TEST_P(nested_database_test, is_read_up_to_512_levels) {
  const std::size_t most = 512 - GetParam().levels_above;
  EXPECT_EQ(init_failure(parameters("db.json", database(arrays(most + 1)))), invalid_database);
  session.errors.clear();
  open(parameters("db.json", database(arrays(most))));
}

INSTANTIATE_TEST_SUITE_P(
    places, nested_database_test,
    testing::Values(
        place{"configuration",
              [](json& d) { d["meta"]["connection_configs"]["dekodrix_config"]["x"] = marker; }, 4},
        place{"older_configuration",
              [](json& d) {
                d["meta"].erase("connection_configs");
                d["meta"]["decoder_config"]["x"] = marker;
              },
              3},
        place{"aliases",
              [](json& d) {
                d["meta"]["aliases"] = json::array({{{"id", 5}, {"x", marker}}});
              },
              4},
        place{"peer_buffers", [](json& d) { d["peer_buffers"] = json::array({marker}); }, 2},
        place{"traces",
              [](json& d) {
                d["traces"] = json::array({{{"id", 5}, {"x", marker}}});
              },
              3},
        place{"unknown_member", [](json& d) { d["x"] = marker; }, 1}),
    [](const auto& information) { return std::string(information.param.name); });

class brackets_test : public test_support::source_fixture {};

TEST_F(brackets_test, inside_texts_are_no_nesting) {
  auto database = minimal_database();
  const std::string brackets(10'000, '[');
  database["meta"]["remark"] = brackets + "\"" + brackets + "\\";
  database[brackets] = 5;
  open_decoding("", database);
}

TEST_F(brackets_test, beside_each_other_are_no_nesting) {
  auto database = minimal_database();
  for (int i = 0; i < 10'000; ++i) database["remarks"].push_back({{"a", json::array()}});
  open_decoding("", database);
}

// --- what is not a database ---------------------------------------------------------------

class nested_parameters_test : public test_support::source_fixture,
                               public testing::WithParamInterface<const char*> {};

TEST_P(nested_parameters_test, are_refused) {
  const json document = json::parse(GetParam());
  for (const std::string& nested : {arrays(bottomless), objects(bottomless)}) {
    EXPECT_NE(init_failure(with_nested(document, nested)), "");
    session.errors.clear();
  }
}

INSTANTIATE_TEST_SUITE_P(
    members, nested_parameters_test,
    testing::Values(
        R"({"x": "the nested text"})", R"({"file_path": "the nested text"})",
        R"({"db_file_path": "the nested text"})", R"({"chunk_size": "the nested text"})",
        R"({"serialport": "the nested text"})", R"({"serialport": {"path": "the nested text"}})",
        R"({"serialport": {"path": "COM3", "settings": {"parity": "the nested text"}}})",
        R"({"auto_detect_db_config": "the nested text"})",
        R"({"auto_detect_db_config": {"cache_directory": "the nested text"}})"),
    test_support::named_by_value());

TEST_F(brackets_test, in_unknown_parameters_do_no_harm) {
  open(json{{"file_path", write_trace("abc")}});
  session.release();
  const json parameters = {{"file_path", write_trace("abc")}, {"x", marker}};
  ASSERT_EQ(session.init(with_nested(parameters, arrays(bottomless))), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "abc");
}

class nested_catalogue_test : public test_support::auto_detect_fixture {};

TEST_F(nested_catalogue_test, does_no_harm_beside_what_is_read) {
  offer("1.0", test_support::first_uuid);
  json catalogue = test_support::catalogue_of("2024-05-01 12:00:00", listed);
  catalogue["firmwares"]["devices"][0]["versions"][0]["x"] = marker;
  origin.write("config.json", with_nested(catalogue, arrays(bottomless)));
  open(parameters("x"));
  EXPECT_TRUE(std::filesystem::exists(
      in_cache(std::string("modem/1.0/") + test_support::first_uuid + "/1.0.json")));
}

TEST_F(nested_catalogue_test, is_refused_in_place_of_what_is_read) {
  offer("1.0", test_support::first_uuid);
  json catalogue = test_support::catalogue_of("2024-05-01 12:00:00", listed);
  catalogue["firmwares"]["devices"][0]["versions"][0]["version"] = marker;
  origin.write("config.json", with_nested(catalogue, arrays(bottomless)));
  EXPECT_THAT(init_failure(parameters("x")), EndsWith("type must be string, but is array"));
}

}  // namespace
