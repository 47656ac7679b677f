// "chunk_size": which values are taken, and what they do to the reads.
#include <gmock/gmock.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/source_fixture.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using testing::AnyOf;
using testing::EndsWith;

class chunk_size_test : public test_support::source_fixture {
 protected:
  std::vector<std::uint32_t> sizes() const {
    std::vector<std::uint32_t> result;
    for (const auto& packet : session.packets) result.push_back(packet.data_size);
    return result;
  }
};

TEST_F(chunk_size_test, is_1024_when_nothing_is_said) {
  open({{"file_path", write_trace_of(2500)}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(sizes(), (std::vector<std::uint32_t>{1024, 1024, 452}));
}

// Value, size of the file, size of the first read.
struct accepted_size {
  const char* value;
  std::size_t file_size;
  std::uint32_t first_read;
};

void PrintTo(const accepted_size& value, std::ostream* out) {
  *out << value.value;
}

class accepted_chunk_size_test : public chunk_size_test,
                                 public testing::WithParamInterface<accepted_size> {};

TEST_P(accepted_chunk_size_test, gives_the_reads) {
  const auto& [value, file_size, first_read] = GetParam();
  open({{"file_path", write_trace_of(file_size)}, {"chunk_size", json::parse(value)}});
  EXPECT_EQ(session.start(), 0);
  ASSERT_FALSE(session.packets.empty());
  EXPECT_EQ(session.packets.front().data_size, first_read);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(file_size));
}

INSTANTIATE_TEST_SUITE_P(
    values, accepted_chunk_size_test,
    testing::Values(accepted_size{"1", 5, 1}, accepted_size{"100", 250, 100},
                    accepted_size{"100.9", 250, 100}, accepted_size{"100.0", 250, 100},
                    accepted_size{"1.999", 3, 1}, accepted_size{"1e2", 250, 100},
                    accepted_size{"4096", 5000, 4096}, accepted_size{"1500000", 4000000, 1500000},
                    accepted_size{"2097152", 4000000, 2097152},
                    // larger than the file, without so much memory being taken
                    accepted_size{"1000000", 5000, 5000}, accepted_size{"4294967296", 5000, 5000},
                    accepted_size{"4294967297", 5000, 5000},
                    accepted_size{"1000000000000", 5000, 5000},
                    accepted_size{"9223372036854775807", 5000, 5000},
                    accepted_size{"9223372036854775808", 5000, 5000},
                    accepted_size{"18446744073709551615", 5000, 5000},
                    // a signed number is taken as the unsigned one of the same bits
                    accepted_size{"-1", 5000, 5000}, accepted_size{"-1024", 5000, 5000},
                    accepted_size{"-1.5", 5000, 5000},
                    // beyond what an unsigned 64-bit number holds
                    accepted_size{"18446744073709551616", 5000, 5000},
                    accepted_size{"1e19", 5000, 5000}, accepted_size{"1e300", 5000, 5000}),
    test_support::named_by_value());

class refused_chunk_size_test : public chunk_size_test,
                                public testing::WithParamInterface<const char*> {};

TEST_P(refused_chunk_size_test, must_be_at_least_1) {
  EXPECT_EQ(
      init_failure({{"file_path", write_trace("x")}, {"chunk_size", json::parse(GetParam())}}),
      "chunk_size must be at least 1");
}

INSTANTIATE_TEST_SUITE_P(values, refused_chunk_size_test,
                         testing::Values("0", "0.0", "0.9", "-0", "-0.5", "1e-300"),
                         test_support::named_by_value());

struct typed_value {
  const char* value;
  const char* type_name;
};

void PrintTo(const typed_value& value, std::ostream* out) {
  *out << value.value;
}

class chunk_size_type_test : public chunk_size_test,
                             public testing::WithParamInterface<typed_value> {};

TEST_P(chunk_size_type_test, must_be_a_number) {
  EXPECT_THAT(init_failure(
                  {{"file_path", write_trace("x")}, {"chunk_size", json::parse(GetParam().value)}}),
              EndsWith(std::string("type must be number, but is ") + GetParam().type_name));
}

INSTANTIATE_TEST_SUITE_P(values, chunk_size_type_test,
                         testing::Values(typed_value{"true", "boolean"},
                                         typed_value{"false", "boolean"},
                                         typed_value{"\"1024\"", "string"},
                                         typed_value{"null", "null"}, typed_value{"{}", "object"},
                                         typed_value{"[1024]", "array"}),
                         test_support::named_by_value());

// --- files of all sizes ------------------------------------------------------------------

class file_size_test : public chunk_size_test,
                       public testing::WithParamInterface<std::tuple<std::size_t, std::size_t>> {};

TEST_P(file_size_test, comes_through_whole_in_full_chunks) {
  const auto [file_size, chunk_size] = GetParam();
  open({{"file_path", write_trace_of(file_size)}, {"chunk_size", chunk_size}});
  EXPECT_EQ(session.start(), 0);
  std::vector<std::uint32_t> expected(file_size / chunk_size,
                                      static_cast<std::uint32_t>(chunk_size));
  if (file_size % chunk_size != 0) {
    expected.push_back(static_cast<std::uint32_t>(file_size % chunk_size));
  }
  EXPECT_EQ(sizes(), expected);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(file_size));
}

INSTANTIATE_TEST_SUITE_P(sizes, file_size_test,
                         testing::Combine(testing::Values(0, 1, 2, 1023, 1024, 1025, 2048, 3000),
                                          testing::Values(1, 7, 1023, 1024, 2048, 65536)),
                         test_support::named_by_value());

TEST_F(chunk_size_test, is_the_same_with_a_decoder) {
  open({{"file_path", write_trace_of(2500)},
        {"db_file_path", write_database(test_support::minimal_database())},
        {"chunk_size", 1000}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(sizes(), (std::vector<std::uint32_t>{1000, 1000, 500}));
  EXPECT_EQ(decoder.appended(), test_support::varied_bytes(2500));
}

}  // namespace
