#include "plugin/database_document.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "implementation/json.h"
#include "plugin/trace_definitions.h"

namespace {

using kovax::json;
using veltra::database_document;
using veltra::trace_definitions;

// What is left of the root's "traces".
json left_in_traces(const std::string& text) {
  database_document document(text);
  return document.root().at("traces");
}

trace_definitions definitions_of(const std::string& text) {
  return database_document(text).take_definitions();
}

json definition(trace_definitions& definitions, std::uint32_t id) {
  const json* const found = definitions.find(id);
  return found != nullptr ? *found : json("none");
}

TEST(database_document, has_definitions_by_id_and_all_else_in_the_document) {
  database_document document(
      R"({"a": [{"id": 1}], "traces": [{"id": 7, "x": [1, {"id": 8}]}, {"id": 9}], "b": {"c": 2}})");
  EXPECT_EQ(document.root(), json::parse(R"({"a": [{"id": 1}], "traces": [], "b": {"c": 2}})"));
  trace_definitions definitions = document.take_definitions();
  EXPECT_EQ(definitions.size(), 2U);
  EXPECT_EQ(definition(definitions, 7), json::parse(R"({"id": 7, "x": [1, {"id": 8}]})"));
  EXPECT_EQ(definition(definitions, 9), json::parse(R"({"id": 9})"));
  EXPECT_EQ(definitions.find(1), nullptr);
  EXPECT_EQ(definitions.find(8), nullptr);
}

TEST(database_document, keeps_elements_that_are_not_definitions_in_their_order) {
  EXPECT_EQ(left_in_traces(R"({"traces": [5, {"id": 1}, {"x": [{}]}, [{"id": 2}], {"id": "3"}]})"),
            json::parse(R"([5, {"x": [{}]}, [{"id": 2}], {"id": "3"}])"));
}

TEST(database_document, takes_definitions_out_of_an_array_at_the_root_only) {
  for (const char* text :
       {R"({"traces": {"a": {"id": 1}, "traces": [{"id": 2}]}})", R"({"traces": [[{"id": 1}]]})",
        R"({"x": {"traces": [{"id": 1}]}})", R"([{"traces": [{"id": 1}]}])", R"([[{"id": 1}]])"}) {
    database_document document(text);
    EXPECT_EQ(document.root(), json::parse(text));
    EXPECT_EQ(document.take_definitions().size(), 0U) << text;
  }
}

TEST(database_document, the_last_of_equal_members_counts) {
  trace_definitions twice = definitions_of(R"({"traces": [{"id": 1}], "traces": [{"id": 2}]})");
  EXPECT_EQ(twice.size(), 1U);
  EXPECT_EQ(definition(twice, 2), json::parse(R"({"id": 2})"));
  EXPECT_EQ(definitions_of(R"({"traces": [{"id": 1}], "traces": null})").size(), 0U);

  trace_definitions two_ids = definitions_of(R"({"traces": [{"id": "a", "id": 5, "\u0069d": 6}]})");
  EXPECT_EQ(definition(two_ids, 6), json::parse(R"({"id": 6})"));
  EXPECT_EQ(left_in_traces(R"({"traces": [{"id": 5, "id": {"id": 4}}]})"),
            json::parse(R"([{"id": {"id": 4}}])"));
}

TEST(database_document, the_first_definition_of_an_id_counts) {
  trace_definitions definitions = definitions_of(
      R"({"traces": [{"id": 5, "x": 1}, {"id": 4}, {"id": 5, "x": 2}, {"id": 5.9, "x": 3}]})");
  EXPECT_EQ(definitions.size(), 2U);
  EXPECT_EQ(definition(definitions, 5), json::parse(R"({"id": 5, "x": 1})"));
}

TEST(database_document, finds_definitions_whatever_is_between_them) {
  trace_definitions definitions = definitions_of(
      "\xEF\xBB\xBF {\"traces\":[{\"id\":1}\n,\t{\"id\":2,\"x\":\"}]\\\"{\"},1.5,{\"id\":3} ]}");
  EXPECT_EQ(definition(definitions, 1), json::parse(R"({"id": 1})"));
  EXPECT_EQ(definition(definitions, 2), json::parse(R"({"id": 2, "x": "}]\"{"})"));
  EXPECT_EQ(definition(definitions, 3), json::parse(R"({"id": 3})"));
}

TEST(database_document, refuses_what_the_library_refuses_with_its_words) {
  for (const std::string text :
       {"", R"({"traces": [{"id": 1}, {"id": tru}]})", R"({"traces": [{"id": 1}]} 5)",
        R"({"traces": [{"id": 1e999}]})", R"({"traces": [{"id": 1, "x)", "{\"traces\": [{\"\xFF"}) {
    std::string wanted;
    try {
      const json ignored = json::parse(text);
    } catch (const json::exception& error) {
      wanted = error.what();
    }
    ASSERT_FALSE(wanted.empty()) << text;
    try {
      database_document document(text);
      ADD_FAILURE() << text << " was taken";
    } catch (const json::exception& error) {
      EXPECT_EQ(error.what(), wanted);
    }
  }
}

TEST(trace_definitions, one_that_was_found_stays_where_it_is) {
  trace_definitions definitions = definitions_of(R"({"traces": [{"id": 1}, {"id": 2}]})");
  const json* const first = definitions.find(1);
  definitions.find(2);
  EXPECT_EQ(definitions.find(1), first);
  const trace_definitions moved = std::move(definitions);
  EXPECT_EQ(*first, json::parse(R"({"id": 1})"));
}

TEST(trace_definitions, one_that_is_added_does_not_replace_another) {
  trace_definitions definitions = definitions_of(R"({"traces": [{"id": 1}]})");
  json same = {{"id", 1}, {"x", 2}};
  json other = {{"id", 3}};
  definitions.add(1, same);
  definitions.add(3, other);
  EXPECT_EQ(definitions.size(), 2U);
  EXPECT_EQ(definition(definitions, 1), json::parse(R"({"id": 1})"));
  EXPECT_EQ(definition(definitions, 3), json::parse(R"({"id": 3})"));
}

}  // namespace
