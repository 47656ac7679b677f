// How decompress_gzip() calls zlib: against a zlib written here, which this
// program has in place of the real one.
#include <gtest/gtest.h>
#define ZLIB_CONST
#include <zlib.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/gzip.h"

namespace {

// What one call of inflate() does: fills `output` bytes, then gives `result`.
struct answer {
  std::size_t output;
  int result;
  const char* message = nullptr;
};

// What zlib was asked for, and what it answers.
struct scripted_zlib {
  int init_result = Z_OK;
  std::vector<answer> answers;
  std::function<void()> in_inflate = [] {};

  int window_bits = 0;
  std::string version;
  int stream_size = 0;
  std::string input;
  std::vector<std::size_t> offered;
  std::vector<int> flush_modes;
  int ends = 0;
};

scripted_zlib* zlib = nullptr;

}  // namespace

extern "C" {

int inflateInit2_(z_streamp /*stream*/, int window_bits, const char* version, int stream_size) {
  zlib->window_bits = window_bits;
  zlib->version = version;
  zlib->stream_size = stream_size;
  return zlib->init_result;
}

int inflate(z_streamp stream, int flush) {
  zlib->in_inflate();
  if (zlib->offered.empty()) {
    zlib->input.assign(reinterpret_cast<const char*>(stream->next_in), stream->avail_in);
  }
  zlib->flush_modes.push_back(flush);
  const std::size_t call = zlib->offered.size();
  zlib->offered.push_back(stream->avail_out);
  const answer& now = zlib->answers.at(call);
  std::memset(stream->next_out, 'a' + static_cast<int>(call), now.output);
  stream->next_out += now.output;
  stream->avail_out -= static_cast<uInt>(now.output);
  stream->msg = const_cast<char*>(now.message);
  return now.result;
}

int inflateEnd(z_streamp /*stream*/) {
  ++zlib->ends;
  return Z_OK;
}

}  // extern "C"

namespace veltra {
namespace {

constexpr std::string_view five_bytes = "\x1F\x8B\x08\x01\x02";

class gzip_calls : public testing::Test {
 protected:
  gzip_calls() { zlib = &zlib_; }
  ~gzip_calls() override { zlib = nullptr; }

  std::string failure_of(std::uint32_t limit, std::string_view input) {
    try {
      decompress_gzip(limit, input);
      return {};
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  scripted_zlib zlib_;
};

TEST_F(gzip_calls,
       the_stream_is_opened_for_gzip_and_zlib_headers_with_the_version_of_the_interface) {
  zlib_.answers = {{3, Z_STREAM_END}};
  decompress_gzip(100, five_bytes);
  EXPECT_EQ(zlib_.window_bits, 47);
  EXPECT_EQ(zlib_.version, "1.2.12");
  EXPECT_EQ(zlib_.stream_size, static_cast<int>(sizeof(z_stream)));
}

TEST_F(gzip_calls, a_failed_start_is_reported_before_anything_else) {
  zlib_.init_result = Z_MEM_ERROR;
  EXPECT_EQ(failure_of(0, ""), "inflate init failed");
  EXPECT_EQ(zlib_.ends, 0) << "zlib has nothing to release";
}

TEST_F(gzip_calls, the_whole_input_is_given_at_once_and_finished) {
  zlib_.answers = {{3, Z_STREAM_END}};
  EXPECT_EQ(decompress_gzip(100, five_bytes), "aaa");
  EXPECT_EQ(zlib_.input, five_bytes);
  EXPECT_EQ(zlib_.flush_modes, std::vector<int>{Z_FINISH});
}

TEST_F(gzip_calls, every_step_offers_twice_the_input) {
  zlib_.answers = {{10, Z_BUF_ERROR}, {10, Z_OK}, {2, Z_STREAM_END}};
  EXPECT_EQ(decompress_gzip(30, five_bytes), "aaaaaaaaaabbbbbbbbbbcc");
  EXPECT_EQ(zlib_.offered, (std::vector<std::size_t>{10, 10, 10}));
}

TEST_F(gzip_calls, an_end_in_a_full_buffer_is_asked_for_once_more) {
  zlib_.answers = {{10, Z_STREAM_END}, {0, Z_STREAM_END}};
  EXPECT_EQ(decompress_gzip(20, five_bytes), "aaaaaaaaaa");
  EXPECT_EQ(zlib_.offered.size(), 2U);
}

TEST_F(gzip_calls, space_that_is_left_ends_the_stream_whatever_zlib_calls_it) {
  for (const int result : {Z_OK, Z_STREAM_END, Z_BUF_ERROR}) {
    zlib_.offered.clear();
    zlib_.answers = {{9, result}};
    EXPECT_EQ(decompress_gzip(10, five_bytes), "aaaaaaaaa") << result;
  }
}

TEST_F(gzip_calls, every_other_result_is_an_error_with_the_message_of_the_stream) {
  for (const int result :
       {Z_NEED_DICT, Z_ERRNO, Z_STREAM_ERROR, Z_DATA_ERROR, Z_MEM_ERROR, Z_VERSION_ERROR}) {
    zlib_.offered.clear();
    zlib_.answers = {{10, Z_OK}, {1, result, "what zlib says"}};
    EXPECT_EQ(failure_of(100, five_bytes), "what zlib says") << result;
  }
}

TEST_F(gzip_calls, an_error_without_a_message_has_a_text) {
  zlib_.answers = {{0, Z_MEM_ERROR, nullptr}};
  EXPECT_NE(failure_of(100, five_bytes), "");
}

TEST_F(gzip_calls, growth_beyond_the_limit_is_refused_before_inflating) {
  zlib_.answers = {{10, Z_BUF_ERROR}, {10, Z_BUF_ERROR}};
  EXPECT_EQ(failure_of(29, five_bytes),
            "size of output string will use more memory then intended when decompressing");
  EXPECT_EQ(zlib_.offered.size(), 2U);
}

TEST_F(gzip_calls, the_stream_is_released_once_on_every_way_out) {
  const auto ends_of = [&](std::uint32_t limit, std::string_view input, answer first) {
    zlib_.ends = 0;
    zlib_.offered.clear();
    zlib_.answers = {first};
    failure_of(limit, input);
    return zlib_.ends;
  };
  EXPECT_EQ(ends_of(10, five_bytes, {3, Z_STREAM_END}), 1) << "success";
  EXPECT_EQ(ends_of(9, five_bytes, {3, Z_STREAM_END}), 1) << "input too large";
  EXPECT_EQ(ends_of(19, five_bytes, {10, Z_BUF_ERROR}), 1) << "output too large";
  EXPECT_EQ(ends_of(10, five_bytes, {0, Z_DATA_ERROR, "corrupt"}), 1) << "corrupt";
  EXPECT_EQ(ends_of(10, "", {0, Z_BUF_ERROR}), 1) << "empty";
}

TEST_F(gzip_calls, an_exception_out_of_zlib_passes_through_and_releases_the_stream) {
  zlib_.in_inflate = [] { throw std::bad_alloc(); };
  EXPECT_THROW(decompress_gzip(100, five_bytes), std::bad_alloc);
  EXPECT_EQ(zlib_.ends, 1);
}

}  // namespace
}  // namespace veltra
