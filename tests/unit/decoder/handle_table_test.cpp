#include "decoder/handle_table.h"

#include <gtest/gtest.h>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

TEST(handle_table, each_handle_has_a_decoder_of_its_own) {
  handle_table table;
  const int first = 0;
  const int second = 0;
  decoder* of_first = table.add(&first);
  decoder* of_second = table.add(&second);
  EXPECT_NE(of_first, of_second);
  of_second->append(to_bytes("still usable"));
  table.remove(&first);
  of_second->parse();
  table.remove(&second);
}

TEST(handle_table, a_handle_at_the_same_address_replaces_the_earlier_decoder) {
  handle_table table;
  const int handle = 0;
  decoder* earlier = table.add(&handle);
  ASSERT_TRUE(earlier->set_configuration(test_configuration));
  earlier->append(encode({.sequence = 0, .payload = to_bytes("a")}));
  earlier->parse();
  decoder* later = table.add(&handle);
  EXPECT_EQ(later->trace_count(), 0U);
  table.remove(&handle);
}

TEST(handle_table, an_unknown_handle_is_passed_over) {
  handle_table table;
  const int handle = 0;
  table.remove(&handle);
  decoder* made = table.add(&handle);
  table.remove(&made);
  EXPECT_EQ(made->trace_count(), 0U);
  table.remove(&handle);
}

}  // namespace
}  // namespace open_decoder::test
