#include "plugin/database_collection.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace {

using veltra::database_collection;
using veltra::trace_db_config;

trace_db_config config(const char* name, std::set<std::uint32_t> ids,
                       std::optional<std::string> decoder_config) {
  trace_db_config made;
  made.name = name;
  made.ids = std::move(ids);
  made.decoder_config = std::move(decoder_config);
  return made;
}

TEST(database_collection, a_name_is_compared_exactly) {
  database_collection collection;
  collection.append(config("MCUX", {1}, "x"));
  collection.append(config("mcu", {1}, "lower"));
  EXPECT_EQ(collection.find_decoder_config("MCU"), std::nullopt);
  EXPECT_EQ(collection.find_decoder_config("mcu"), "lower");
}

TEST(database_collection, the_first_record_of_a_name_decides_even_without_a_configuration) {
  database_collection collection;
  collection.append(config("MCU", {1}, std::nullopt));
  collection.append(config("MCU", {2}, "second"));
  EXPECT_EQ(collection.find_decoder_config("MCU"), std::nullopt);
}

TEST(database_collection, a_master_belongs_to_the_first_record_that_has_its_id) {
  database_collection collection;
  collection.append(config("A", {1, 2}, std::nullopt));
  collection.append(config("B", {2, 3}, std::nullopt));
  EXPECT_EQ(collection.find_config_for_master(1)->name, "A");
  EXPECT_EQ(collection.find_config_for_master(2)->name, "A");
  EXPECT_EQ(collection.find_config_for_master(3)->name, "B");
  EXPECT_EQ(collection.find_config_for_master(4), nullptr);
}

}  // namespace
