// What is larger than anything real is refused or cut, and a log line says so.
#include "plugin/limits.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/source_properties.h"
#include "plugin/trace_db.h"
#include "tests/support/database_builder.h"
#include "tests/support/trace_builder.h"

namespace {

using veltra::database_collection;
using veltra::max_database_text_bytes;
using veltra::max_packet_bytes;
using veltra::process_database_text;

void keep_line(kovax_source*, void* user_data, std::int32_t level, const char* message) {
  static_cast<std::vector<std::string>*>(user_data)->push_back(std::to_string(level) + " " +
                                                               message);
}

TEST(limits, a_database_text_that_is_too_large_is_refused_before_it_is_read) {
  std::vector<std::string> lines;
  database_collection collection;
  EXPECT_THROW(process_database_text(collection, {keep_line, &lines},
                                     std::string(max_database_text_bytes + 1, '{')),
               std::runtime_error);
  EXPECT_EQ(lines,
            std::vector<std::string>{
                "5 a database has more than 268435456 bytes, which are the most that are read"});
}

TEST(limits, a_trace_that_no_packet_can_hold_is_cut) {
  database_collection collection;
  process_database_text(collection, {}, test_support::conversion_database().dump());
  std::string bytes = test_support::build_trace({.buffer_id = "1"}, "an IP packet");
  dekodrix_trace trace{};
  trace.data = reinterpret_cast<std::uint8_t*>(bytes.data());
  // Again, only the beginning is there and looked at.
  trace.data_length = max_packet_bytes + 1000;
  auto* const config = collection.find_config_for_master(test_support::database_master);
  ASSERT_NE(config, nullptr);
  const auto packet = convert_trace(*config, trace);
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->data_size, max_packet_bytes - (bytes.size() - 12));
}

}  // namespace
