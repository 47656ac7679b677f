#include "plugin/database/uid_search.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <stdexcept>

#include "base/uuid.h"
#include "tests/support/recorded_log.h"
#include "tests/support/uid_search_reference.h"

namespace veltra {
namespace {

using test_support::log_line;
using test_support::recorded_log;
using test_support::uid_search_reference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr const char* uuid = "0123abcd-4567-89ef-0a1b-23456789cdef";

std::string marker_with(const std::string& candidate) {
  return "UID %s=" + candidate;
}

log_line size_line(std::size_t size) {
  return {2, "Cached data for locating database UID: " + std::to_string(size)};
}
log_line candidate_line(const std::string& candidate) {
  return {2, "found UID: " + candidate};
}
log_line rejection_line() {
  return {5, "uuid does not match regex, continue searching "};
}

// 36 characters that are not a UUID.
std::string no_uuid(char fill) {
  return std::string(36, fill);
}

class uid_search_test : public testing::Test {
 protected:
  std::optional<std::string> search(std::string_view bytes) {
    log_.clear();
    return search_.search(bytes, log_.host_log());
  }

  recorded_log log_;
  uid_search search_;
};

TEST_F(uid_search_test, finds_the_uuid_behind_the_marker_and_one_byte) {
  EXPECT_THAT(search("trace" + marker_with(uuid) + "??"), Optional(std::string(uuid)));
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(50), candidate_line(uuid)));
}

TEST_F(uid_search_test, the_byte_behind_the_marker_may_be_any) {
  for (int byte = 0; byte < 256; ++byte) {
    uid_search search;
    const std::string stream = "UID %s" + std::string(1, static_cast<char>(byte)) + uuid + "??";
    EXPECT_THAT(search.search(stream, {}), Optional(std::string(uuid))) << byte;
  }
}

TEST_F(uid_search_test, a_candidate_is_taken_only_when_two_bytes_behind_it_are_there) {
  EXPECT_EQ(search(marker_with(uuid)), std::nullopt);
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(43)));
  EXPECT_EQ(search("?"), std::nullopt);
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(44)));
  EXPECT_THAT(search("?"), Optional(std::string(uuid)));
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(45), candidate_line(uuid)));
}

TEST_F(uid_search_test, every_pass_tells_the_size_of_the_cached_data) {
  search("12345");
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(5)));
  search("");
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(5)));
  search("6789");
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(9)));
}

TEST_F(uid_search_test, messages_carry_the_instance_when_there_is_one) {
  int instance = 0;
  auto* source = reinterpret_cast<kovax_source*>(&instance);
  search_.search("x", log_.host_log(source));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].source, source);
}

TEST_F(uid_search_test, a_rejected_candidate_is_logged_and_the_search_goes_on) {
  const std::string wrong = no_uuid('x');
  EXPECT_THAT(search(marker_with(wrong) + marker_with(uuid) + "??"), Optional(std::string(uuid)));
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(88), candidate_line(wrong), rejection_line(),
                                        candidate_line(uuid)));
}

TEST_F(uid_search_test, rejected_candidates_are_logged_again_in_every_pass) {
  const std::string first = no_uuid('x');
  const std::string second = no_uuid('y');
  search(marker_with(first) + "??");
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(45), candidate_line(first), rejection_line()));
  search(marker_with(second) + "??");
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(90), candidate_line(first), rejection_line(),
                                        candidate_line(second), rejection_line()));
  search("?");
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(91), candidate_line(first), rejection_line(),
                                        candidate_line(second), rejection_line()));
}

TEST_F(uid_search_test, a_marker_inside_a_rejected_candidate_is_found) {
  const std::string overlapping =
      "UID %s="
      "U" +
      marker_with(uuid) + "??";  // next one at 8
  EXPECT_THAT(search(overlapping), Optional(std::string(uuid)));
  EXPECT_EQ(log_.lines().size(), 4U);
}

TEST_F(uid_search_test,
       a_marker_that_begins_in_the_first_eight_bytes_of_a_rejected_one_is_not_seen) {
  // At 7, the first byte of the candidate: the search goes on one byte behind it.
  EXPECT_EQ(search("UID %s=" + marker_with(uuid) + "??"), std::nullopt);
  EXPECT_EQ(log_.lines().size(), 3U);
}

TEST_F(uid_search_test, any_split_into_chunks_gives_the_same_result) {
  const std::string stream =
      "U UI UID UID % UID %d" + marker_with(no_uuid('-')) + "UID %" + marker_with(uuid) + "??";
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    uid_search search;
    std::optional<std::string> found;
    std::size_t taken = 0;
    for (; !found && taken < stream.size(); taken += size) {
      found = search.search(stream.substr(taken, size), {});
    }
    EXPECT_THAT(found, Optional(std::string(uuid))) << "chunks of " << size;
    EXPECT_EQ(search.cached_data(), stream.substr(0, taken));
  }
}

TEST_F(uid_search_test, the_marker_is_compared_byte_for_byte) {
  for (const char* marker : {"uid %s=", "UID %S=", "UID  %s=", "UID%s=", "UID %d=", "UID\t%s="}) {
    uid_search search;
    EXPECT_EQ(search.search(marker + std::string(uuid) + "??", {}), std::nullopt) << marker;
  }
}

TEST_F(uid_search_test, digits_in_upper_case_match_and_are_given_as_spelt) {
  const std::string upper = "0123ABCD-4567-89EF-0a1b-23456789CDEF";
  EXPECT_THAT(search(marker_with(upper) + "??"), Optional(upper));
}

TEST_F(uid_search_test, one_wrong_character_anywhere_rejects_the_candidate) {
  for (std::size_t i = 0; i < 36; ++i) {
    for (const char wrong :
         {'g', 'G', ' ', '/', ':', '@', '`', '\0', '\n', '\xff', uuid[i] == '-' ? '0' : '-'}) {
      std::string candidate = uuid;
      candidate[i] = wrong;
      EXPECT_FALSE(is_uuid(candidate)) << candidate;
      uid_search search;
      EXPECT_EQ(search.search(marker_with(candidate) + "??", {}), std::nullopt) << candidate;
    }
  }
}

TEST_F(uid_search_test, a_uuid_has_exactly_36_characters_in_either_case) {
  EXPECT_TRUE(is_uuid(uuid));
  EXPECT_TRUE(is_uuid("01234567-89AB-CDEF-0123-456789abcdef"));
  EXPECT_FALSE(is_uuid(std::string(uuid) + "0"));
  EXPECT_FALSE(is_uuid(std::string(uuid).substr(1)));
  EXPECT_FALSE(is_uuid(""));
}

TEST_F(uid_search_test, a_later_pass_gives_the_same_result_and_messages_again) {
  const std::string wrong = no_uuid('x');
  const std::string stream = marker_with(wrong) + "..." + marker_with(uuid) + "??";
  ASSERT_TRUE(search(stream));
  const auto before = log_.lines();
  EXPECT_THAT(search(""), Optional(std::string(uuid)));
  EXPECT_EQ(log_.lines(), before);
  EXPECT_THAT(search(marker_with("ffffffff-ffff-ffff-ffff-ffffffffffff") + "??"),
              Optional(std::string(uuid)));
}

TEST_F(uid_search_test, all_bytes_are_kept_in_order_nul_included) {
  search(std::string_view("a\0b", 3));
  search(std::string_view("\0\xff", 2));
  EXPECT_EQ(search_.cached_data(), std::string("a\0b\0\xff", 5));
}

TEST_F(uid_search_test, bytes_survive_a_log_callback_that_throws) {
  const host_log throwing = {
      [](kovax_source*, void*, int32_t, const char*) { throw std::runtime_error("host"); },
      nullptr};
  EXPECT_THROW(search_.search(marker_with(no_uuid('x')) + marker_with(uuid), throwing),
               std::runtime_error);
  EXPECT_THAT(search("??"), Optional(std::string(uuid)));
  EXPECT_THAT(log_.lines(), ElementsAre(size_line(88), candidate_line(no_uuid('x')),
                                        rejection_line(), candidate_line(uuid)));
}

// Streams of pieces that matter to the search, so that markers, half markers,
// overlaps and near misses are frequent.
std::string random_stream(std::mt19937& random) {
  const std::vector<std::string> pieces = {"UID %s",
                                           "UID %",
                                           "U",
                                           "UI",
                                           "%s",
                                           "-",
                                           std::string(1, '\0'),
                                           "\xff",
                                           "0a",
                                           "UID %s=",
                                           marker_with(no_uuid('x')),
                                           marker_with("0123abcd-4567-89ef-0a1b-"),
                                           std::string(uuid),
                                           marker_with(no_uuid('x')).substr(0, 15),
                                           std::string(20, '.')};
  std::string stream;
  const auto count = random() % 40;
  for (std::size_t i = 0; i < count; ++i) stream += pieces[random() % pieces.size()];
  if (random() % 3 == 0) stream += marker_with(uuid);
  stream += std::string(random() % 100, 'q');
  return stream;
}

TEST_F(uid_search_test, results_and_messages_are_those_of_a_search_that_starts_over) {
  std::mt19937 random(20240501);
  int found_count = 0;
  std::ptrdiff_t rejection_count = 0;
  for (int round = 0; round < 1500; ++round) {
    const std::string stream = random_stream(random);
    const std::size_t largest = 1 + random() % 70;
    uid_search search;
    uid_search_reference reference;
    recorded_log log;
    recorded_log reference_log;
    for (std::size_t taken = 0; taken < stream.size();) {
      const std::string chunk = stream.substr(taken, random() % (largest + 1));
      taken += chunk.size();
      log.clear();
      reference_log.clear();
      const auto found = search.search(chunk, log.host_log());
      const auto expected = reference.search(chunk, reference_log.host_log());
      ASSERT_EQ(found, expected) << "round " << round << " after " << taken;
      ASSERT_EQ(log.lines(), reference_log.lines()) << "round " << round << " after " << taken;
      found_count += found ? 1 : 0;
      rejection_count += std::count(log.lines().begin(), log.lines().end(), rejection_line());
    }
    ASSERT_EQ(search.cached_data(), stream);
  }
  EXPECT_GT(found_count, 500);  // or the streams show nothing
  EXPECT_GT(rejection_count, 1000);
}

}  // namespace
}  // namespace veltra
