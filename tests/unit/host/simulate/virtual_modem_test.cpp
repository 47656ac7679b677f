#include "host/simulate/virtual_modem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/simulate/trace_builder.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::StartsWith;

TEST(virtual_modem, the_database_uid_comes_before_the_first_message) {
  const virtual_modem modem = make_virtual_modem(parse_session("5\tip\t45\n", "s"), {});
  ASSERT_EQ(modem.traces.traces.size(), 2U);
  EXPECT_EQ(modem.messages, 1U);
  EXPECT_EQ(modem.traces.traces[0].time_ns, 0U);
  EXPECT_EQ(modem.traces.traces[0].bytes, build_database_uid_trace(modem.database.uuid));
}

TEST(virtual_modem, microseconds_become_nanoseconds) {
  const virtual_modem modem = make_virtual_modem(parse_session("5\tip\t45\n7\tat\t\n", "s"), {});
  EXPECT_EQ(modem.traces.traces.at(1).time_ns, 5000U);
  EXPECT_EQ(modem.traces.traces.at(2).time_ns, 7000U);
}

TEST(virtual_modem, the_next_play_starts_a_second_after_the_latest_message) {
  const virtual_modem modem = make_virtual_modem(parse_session("9\tip\t45\n5\tip\t45\n", "s"), {});
  EXPECT_EQ(modem.traces.period_ns, 1'000'009'000U);
}

TEST(virtual_modem, ordinary_sessions_share_one_database) {
  const auto uuid_of = [](const char* text) {
    return make_virtual_modem(parse_session(text, "s"), {}).database.uuid;
  };
  EXPECT_EQ(uuid_of("1\tip\t45\n"), uuid_of("2\tlte_rrc.mcch.nb\t00\n3\tat\t\n"));
  EXPECT_NE(uuid_of("1\tip\t45\n"), uuid_of("1\tlte_rrc.PCCH\t45\n"));
}

TEST(virtual_modem, a_given_uuid_is_in_database_and_trace) {
  const std::string uuid = "01234567-89ab-cdef-0123-456789abcdef";
  const virtual_modem modem = make_virtual_modem(parse_session("1\tip\t45\n", "s"), uuid);
  EXPECT_EQ(modem.database.uuid, uuid);
  EXPECT_EQ(modem.traces.traces[0].bytes, build_database_uid_trace(uuid));
}

TEST(virtual_modem, a_message_that_cannot_be_carried_is_refused_by_its_line) {
  const session recorded = parse_session("#h\n1\tip\t45\n2\twifi\t45\n", "s.tsv");
  EXPECT_THAT(refusal_of([&] { make_virtual_modem(recorded, {}); }), StartsWith("s.tsv, line 3: "));
}

}  // namespace
}  // namespace veltra::host
