// A decoding library that fails: nothing escapes, nothing is left behind.
#include <ostream>
#include <string>

#include "tests/support/source_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::minimal_database;
using test_support::reported_error;

class setup_failure_test : public test_support::source_fixture,
                           public test_support::given_value<scripted_function> {
 protected:
  std::string fail() { return database_failure(minimal_database()); }
};

TEST_GIVEN(setup_failure_test, an_exception_is_reported_with_its_text) {
  decoder.throw_from(given(), "the decoder is broken");
  EXPECT_EQ(fail(), "the decoder is broken");
}

TEST_GIVEN(setup_failure_test, anything_else_is_an_unknown_error) {
  decoder.throw_int_from(given());
  EXPECT_EQ(fail(), "unknown error from veltra plugin");
}

TEST_GIVEN(setup_failure_test, the_decoder_is_deleted_once) {
  decoder.throw_from(given(), "the decoder is broken");
  fail();
  const auto made = decoder.calls_of(scripted_new);
  const auto deleted = decoder.calls_of(scripted_delete);
  ASSERT_EQ(made.size(), 1U);
  ASSERT_EQ(deleted.size(), 1U);
  EXPECT_EQ(deleted.front().handle, made.front().handle);
}

GIVEN(calls, setup_failure_test,
      {scripted_set_timebase, scripted_reset, scripted_set_configuration_json});

class new_failure_test : public test_support::source_fixture {};

TEST_F(new_failure_test, an_exception_is_reported_and_nothing_is_deleted) {
  decoder.throw_from(scripted_new, "no memory for a decoder");
  EXPECT_EQ(database_failure(minimal_database()), "no memory for a decoder");
  EXPECT_TRUE(decoder.calls_of(scripted_delete).empty());
}

TEST_F(new_failure_test, a_null_handle_is_refused_and_never_used) {
  decoder.return_no_handle();
  EXPECT_EQ(database_failure(minimal_database()), "dekodrix decoder could not be created");
  EXPECT_EQ(decoder.call_count(), 1U) << "a function was called with a null handle";
}

class refused_configuration_test : public test_support::source_fixture {};

TEST_F(refused_configuration_test, fails_init_and_deletes_the_decoder_once) {
  decoder.refuse_configuration();
  EXPECT_EQ(database_failure(minimal_database()), "dekodrix config failed to set");
  const auto deleted = decoder.calls_of(scripted_delete);
  ASSERT_EQ(deleted.size(), 1U);
  EXPECT_EQ(deleted.front().handle, decoder.calls_of(scripted_new).at(0).handle);
}

TEST_F(refused_configuration_test, a_missing_configuration_deletes_the_decoder_once) {
  auto database = minimal_database();
  database["meta"].erase("connection_configs");
  EXPECT_EQ(database_failure(database), "dekodrix config not found");
  EXPECT_EQ(decoder.calls_of(scripted_new).size(), 1U);
  EXPECT_EQ(decoder.calls_of(scripted_delete).size(), 1U);
}

class run_failure_test : public test_support::source_fixture,
                         public test_support::given_value<scripted_function> {};

TEST_GIVEN(run_failure_test, an_exception_ends_start_with_its_text) {
  open_decoding("abc");
  decoder.throw_from(given(), "the decoder is broken");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"the decoder is broken", 100}));
}

TEST_GIVEN(run_failure_test, anything_else_is_an_unknown_error) {
  open_decoding("abc");
  decoder.throw_int_from(given());
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"unknown error", 100}));
}

TEST_GIVEN(run_failure_test, the_next_start_works) {
  open_decoding(test_support::varied_bytes(5000));
  decoder.throw_from(given(), "the decoder is broken");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.back().metadata.find("\"data_offset\":"), 1U);
  EXPECT_EQ(session.release(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_delete).size(), 1U);
}

GIVEN(calls, run_failure_test,
      {scripted_append_buffer, scripted_parse, scripted_get_trace, scripted_get_trace_count});

// --- JSON type errors from definitions, met while traces are converted --------------------

struct wrong_type {
  const char* name;
  void (*apply)(json& database);
  std::uint32_t trace_id;
  std::uint8_t peer_layer;
  const char* buffer_id;
  const char* type_name;
};

void PrintTo(const wrong_type& value, std::ostream* out) {
  *out << value.name;
}

class definition_type_test : public test_support::source_fixture,
                             public test_support::given_value<wrong_type> {
 protected:
  void run() {
    auto database = conversion_database();
    given().apply(database);
    decoder.add_trace(1, database_master,
                      build_trace({.id = given().trace_id,
                                   .peer_layer = given().peer_layer,
                                   .buffer_id = given().buffer_id},
                                  "body and enough of it"));
    decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "next"));
    open_decoding("abc", database);
  }
};

TEST_GIVEN(definition_type_test, ends_start_with_the_type_error) {
  run();
  EXPECT_EQ(session.start(), 100);
  const auto error = session.last_error();
  EXPECT_EQ(error.code, 100);
  EXPECT_THAT(error.message,
              testing::EndsWith(std::string("type must be number, but is ") + given().type_name));
}

TEST_GIVEN(definition_type_test, the_next_start_goes_on_with_the_next_trace) {
  run();
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.decoded().front().data, "next");
}

GIVEN(definitions, definition_type_test,
      {wrong_type{"reference_text",
                  [](json& d) { d["traces"][0]["format_items"][0]["reference"] = "900"; },
                  test_support::id::formatted_at, 0, "0", "string"},
       wrong_type{"reference_null",
                  [](json& d) { d["traces"][0]["format_items"][0]["reference"] = nullptr; },
                  test_support::id::formatted_at, 0, "0", "null"},
       wrong_type{"peer_id_text", [](json& d) { d["peer_buffers"][0]["id"] = "70"; },
                  test_support::id::peer_dump, test_support::id::rrc_layer, "70", "string"},
       wrong_type{"peer_layer_array",
                  [](json& d) { d["peer_buffers"][0]["layer"] = json::array(); },
                  test_support::id::peer_dump, test_support::id::rrc_layer, "70", "array"},
       wrong_type{"size_of_offset_text",
                  [](json& d) { d["traces"][1]["format_items"][0]["size"] = "4"; },
                  test_support::id::formatted_dropped, 0, "0", "string"},
       wrong_type{"size_of_kernel_object",
                  [](json& d) { d["traces"][1]["format_items"][1]["size"] = json::object(); },
                  test_support::id::formatted_dropped, 0, "0", "object"},
       wrong_type{"size_of_user_null",
                  [](json& d) { d["traces"][1]["format_items"][2]["size"] = nullptr; },
                  test_support::id::formatted_dropped, 0, "0", "null"}});

}  // namespace
