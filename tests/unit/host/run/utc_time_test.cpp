#include "host/run/utc_time.h"

#include <gtest/gtest.h>

namespace veltra::host {
namespace {

constexpr utc_time one_second = 1'000'000'000;
constexpr utc_time noon_of_may = 1'714'564'800 * one_second;  // 2024-05-01T12:00:00Z

TEST(utc_time, a_time_of_day_with_its_zone_is_parsed) {
  EXPECT_EQ(parse_utc("2024-05-01T12:00:00Z"), noon_of_may);
  EXPECT_EQ(parse_utc("2024-05-01T12:00Z"), noon_of_may);
  EXPECT_EQ(parse_utc("2024-05-01T14:00:00+02:00"), noon_of_may);
  EXPECT_EQ(parse_utc("2024-05-01T06:30:00-05:30"), noon_of_may);
  EXPECT_EQ(parse_utc("1970-01-01T00:00:00Z"), 0U);
  EXPECT_EQ(parse_utc("2024-02-29T00:00:00Z"), 1'709'164'800 * one_second);
}

TEST(utc_time, fractions_of_a_second_count_to_the_nanosecond) {
  EXPECT_EQ(parse_utc("2024-05-01T12:00:00.5Z"), noon_of_may + one_second / 2);
  EXPECT_EQ(parse_utc("2024-05-01T12:00:00.123456789Z"), noon_of_may + 123'456'789);
  EXPECT_EQ(parse_utc("2024-05-01T12:00:00.1234567899Z"), noon_of_may + 123'456'789);
}

TEST(utc_time, other_texts_are_not_times) {
  for (const char* text : {"",
                           "now",
                           "2024-05-01",
                           "2024-05-01T12:00:00",
                           "2024-05-01 12:00:00Z",
                           "2024-13-01T12:00:00Z",
                           "2024-02-30T12:00:00Z",
                           "2023-02-29T12:00:00Z",
                           "2024-05-01T24:00:00Z",
                           "2024-05-01T12:60:00Z",
                           "2024-05-01T12:00:61Z",
                           "2024-05-01T12:00:00.Z",
                           "2024-05-01T12:00:00Zx",
                           "2024-05-01T12:00:00+2",
                           "2024-05-01T12:00:00+25:00",
                           "1969-12-31T23:59:59Z",
                           "1970-01-01T00:00:00+01:00",
                           "2262-01-01T00:00:00Z",
                           "24-05-01T12:00:00Z",
                           "2024-5-1T12:00:00Z",
                           "2024-05-01T12:-1:00Z",
                           " 2024-05-01T12:00:00Z"}) {
    EXPECT_EQ(parse_utc(text), std::nullopt) << text;
  }
}

TEST(utc_time, a_formatted_time_is_parsed_as_itself) {
  EXPECT_EQ(format_utc(noon_of_may + 5), "2024-05-01T12:00:00.000000005Z");
  EXPECT_EQ(format_utc(0), "1970-01-01T00:00:00.000000000Z");
  for (const utc_time time : {utc_time{0}, noon_of_may, noon_of_may + 999'999'999}) {
    EXPECT_EQ(parse_utc(format_utc(time)), time);
  }
}

}  // namespace
}  // namespace veltra::host
