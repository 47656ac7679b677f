#include "decoder/configuration.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

std::string with_masters(const std::string& masters) {
  return R"({"format":"veltra-frames","version":1,"masters":)" + masters + "}";
}

std::string with_loss_trace(const std::string& loss_trace) {
  return R"({"format":"veltra-frames","version":1,"masters":[{"id":3,"aliases":[19]}],)"
         R"("loss_trace":)" +
         loss_trace + "}";
}

bytes id_bytes(const std::string& loss_trace) {
  const auto parsed = parse_configuration(with_loss_trace(loss_trace));
  if (!parsed || !parsed->loss_trace) {
    ADD_FAILURE() << "refused: " << loss_trace;
    return {};
  }
  const auto id = parsed->loss_trace->id_bytes();
  return {id.begin(), id.end()};
}

TEST(configuration, masters_and_the_loss_trace_are_read) {
  const auto parsed = parse_configuration(test_configuration);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->masters, (std::vector<std::uint32_t>{3, 19, 35}));
  ASSERT_TRUE(parsed->loss_trace);
  EXPECT_EQ(parsed->loss_trace->master_id, 3U);
}

TEST(configuration, ids_and_aliases_are_accepted_alike_and_others_are_not) {
  const auto parsed = parse_configuration(test_configuration);
  ASSERT_TRUE(parsed);
  for (const std::uint32_t id : {3U, 19U, 35U}) {
    EXPECT_TRUE(parsed->accepts(id)) << id;
  }
  for (const std::uint32_t id : {0U, 2U, 4U, 36U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(parsed->accepts(id)) << id;
  }
}

TEST(configuration, without_loss_trace_there_is_none) {
  const auto parsed = parse_configuration(with_masters(R"([{"id":3}])"));
  ASSERT_TRUE(parsed);
  EXPECT_FALSE(parsed->loss_trace);
}

TEST(configuration, the_trace_id_has_the_configured_size_and_byte_order) {
  EXPECT_EQ(id_bytes(R"({"master_id":3,"trace_id":255,"trace_id_size":1})"), bytes{0xFF});
  EXPECT_EQ(id_bytes(R"({"master_id":3,"trace_id":4660,"trace_id_size":2})"), (bytes{0x34, 0x12}));
  EXPECT_EQ(id_bytes(R"({"master_id":3,"trace_id":4660,"trace_id_size":2,"endianness":"little"})"),
            (bytes{0x34, 0x12}));
  EXPECT_EQ(id_bytes(R"({"master_id":3,"trace_id":4660,"trace_id_size":2,"endianness":"big"})"),
            (bytes{0x12, 0x34}));
  EXPECT_EQ(id_bytes(R"({"master_id":3,"trace_id":1193046,"trace_id_size":3,"endianness":"big"})"),
            (bytes{0x12, 0x34, 0x56}));
  EXPECT_EQ(id_bytes(R"({"master_id":3,"trace_id":4294967295,"trace_id_size":4})"), bytes(4, 0xFF));
}

TEST(configuration, a_text_that_fits_is_accepted) {
  const std::string accepted[] = {
      with_masters(R"([{"id":0}])"),
      with_masters(R"([{"id":4294967295}])"),
      with_masters(R"([{"id":3},{"id":3}])"),
      with_masters(R"([{"id":3,"aliases":[]}])"),
      with_masters(R"([{"id":3,"aliases":[0,4294967295,3]}])"),
      with_masters(R"([{"id":3,"name":7,"colour":null}])"),
      R"({"format":"veltra-frames","version":1,"masters":[{"id":3}],"more":{"a":[1]}})",
      "  \r\n" + with_masters(R"([{"id":3}])") + "\n",
      with_loss_trace(R"({"master_id":19,"trace_id":0,"trace_id_size":1})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1,"trace_id_size":4,"level":9})"),
  };
  for (const std::string& text : accepted) {
    EXPECT_TRUE(parse_configuration(text)) << text;
  }
}

TEST(configuration, a_text_that_does_not_fit_is_refused) {
  const std::string refused[] = {
      "",
      " ",
      "{",
      "null",
      "[]",
      "{}",
      "17",
      R"("veltra-frames")",
      with_masters(R"([{"id":3}])") + "x",
      R"({"version":1,"masters":[{"id":3}]})",
      R"({"format":"veltra-frame","version":1,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames2","version":1,"masters":[{"id":3}]})",
      R"({"format":1,"version":1,"masters":[{"id":3}]})",
      R"({"format":null,"version":1,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames","masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":0,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":2,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":4294967297,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":"1","masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":1.0,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":true,"masters":[{"id":3}]})",
      R"({"format":"veltra-frames","version":1})",
      with_masters("[]"),
      with_masters("{}"),
      with_masters(R"({"id":3})"),
      with_masters("3"),
      with_masters("null"),
      with_masters("[3]"),
      with_masters("[{}]"),
      with_masters(R"([{"name":"MCU"}])"),
      with_masters(R"([{"id":3},{}])"),
      with_masters(R"([{"id":-1}])"),
      with_masters(R"([{"id":4294967296}])"),
      with_masters(R"([{"id":3.5}])"),
      with_masters(R"([{"id":"3"}])"),
      with_masters(R"([{"id":null}])"),
      with_masters(R"([{"id":3,"aliases":19}])"),
      with_masters(R"([{"id":3,"aliases":null}])"),
      with_masters(R"([{"id":3,"aliases":{"a":1}}])"),
      with_masters(R"([{"id":3,"aliases":[19,"35"]}])"),
      with_masters(R"([{"id":3,"aliases":[-1]}])"),
      with_masters(R"([{"id":3,"aliases":[4294967296]}])"),
      with_loss_trace("null"),
      with_loss_trace("[]"),
      with_loss_trace("{}"),
      with_loss_trace(R"({"trace_id":1,"trace_id_size":2})"),
      with_loss_trace(R"({"master_id":3,"trace_id_size":2})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1})"),
      with_loss_trace(R"({"master_id":4,"trace_id":1,"trace_id_size":2})"),
      with_loss_trace(R"({"master_id":"3","trace_id":1,"trace_id_size":2})"),
      with_loss_trace(R"({"master_id":3,"trace_id":-1,"trace_id_size":2})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1,"trace_id_size":0})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1,"trace_id_size":5})"),
      with_loss_trace(R"({"master_id":3,"trace_id":256,"trace_id_size":1})"),
      with_loss_trace(R"({"master_id":3,"trace_id":65536,"trace_id_size":2})"),
      with_loss_trace(R"({"master_id":3,"trace_id":16777216,"trace_id_size":3})"),
      with_loss_trace(R"({"master_id":3,"trace_id":4294967296,"trace_id_size":4})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1,"trace_id_size":2,"endianness":"Little"})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1,"trace_id_size":2,"endianness":1})"),
      with_loss_trace(R"({"master_id":3,"trace_id":1,"trace_id_size":2,"endianness":null})"),
      "{\"format\":\"veltra-frames\",\"version\":1,\"masters\":[{\"id\":3}],\"x\":\"\xFF\"}",
      R"({"format":"veltra-frames","version":1,"masters":[{"id":3}],"x":1e999})",
  };
  for (const std::string& text : refused) {
    EXPECT_FALSE(parse_configuration(text)) << text;
  }
}

TEST(configuration, deep_nesting_does_not_exhaust_the_stack) {
  constexpr std::size_t depth = 200000;
  const std::string nested = std::string(depth, '[') + std::string(depth, ']');
  EXPECT_FALSE(parse_configuration(nested));
  EXPECT_TRUE(parse_configuration(
      R"({"format":"veltra-frames","version":1,"masters":[{"id":3}],"x":)" + nested + "}"));
}

TEST(configuration, every_truncation_is_refused) {
  for (std::size_t size = 0; size < test_configuration.size(); ++size) {
    EXPECT_FALSE(parse_configuration(test_configuration.substr(0, size))) << size;
  }
}

}  // namespace
}  // namespace open_decoder::test
