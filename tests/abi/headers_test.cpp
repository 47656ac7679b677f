// The layouts are asserted while the headers compile; these tests see to it that
// they were compiled as the languages they promise.
#include <gtest/gtest.h>

extern "C" long header_c_language(void);
long header_cpp11_language();
long header_cpp20_language();

TEST(headers_test, compile_as_c11) {
  EXPECT_EQ(header_c_language(), 201112L);
}

TEST(headers_test, compile_as_cpp11) {
  EXPECT_EQ(header_cpp11_language(), 201103L);
}

TEST(headers_test, compile_as_cpp20) {
  EXPECT_GE(header_cpp20_language(), 202002L);
}
