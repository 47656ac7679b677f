#include "host/simulate/uuid.h"

#include <gtest/gtest.h>

namespace veltra::host {
namespace {

TEST(uuid, the_usual_form_is_a_uuid_in_either_case) {
  EXPECT_TRUE(is_uuid("01234567-89ab-cdef-0123-456789abcdef"));
  EXPECT_TRUE(is_uuid("01234567-89AB-CDEF-0123-456789ABCDEF"));
}

TEST(uuid, anything_else_is_not) {
  for (const char* text :
       {"", "01234567-89ab-cdef-0123-456789abcde", "01234567-89ab-cdef-0123-456789abcdef0",
        "0123456789abcdef0123456789abcdef", "01234567-89ab-cdef-0123-456789abcdeg",
        "0123456-789ab-cdef-0123-456789abcdef", "01234567_89ab_cdef_0123_456789abcdef",
        "{1234567-89ab-cdef-0123-456789abcde}"}) {
    EXPECT_FALSE(is_uuid(text)) << text;
  }
}

// FNV-1a's published value for the text "foobar" is 85944171F73967E8; version
// and variant take their bits from it.
TEST(uuid, the_uuid_of_a_content_begins_with_its_hash) {
  EXPECT_EQ(uuid_of_content("foobar").substr(0, 19), "85944171-f739-87e8-");
}

TEST(uuid, the_uuid_of_a_content_is_of_version_8_and_stays_the_same) {
  for (const char* content : {"", "a", "b", "foobar"}) {
    const std::string uuid = uuid_of_content(content);
    EXPECT_TRUE(is_uuid(uuid)) << uuid;
    EXPECT_EQ(uuid[14], '8') << uuid;
    EXPECT_NE(std::string("89ab").find(uuid[19]), std::string::npos) << uuid;
    EXPECT_EQ(uuid_of_content(content), uuid);
  }
}

TEST(uuid, different_content_has_different_uuids) {
  EXPECT_NE(uuid_of_content("a"), uuid_of_content("b"));
  EXPECT_NE(uuid_of_content("a").substr(19), uuid_of_content("b").substr(19));
}

}  // namespace
}  // namespace veltra::host
