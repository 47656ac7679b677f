#include "plugin/run_guarded.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "plugin/errors.h"

namespace {

using veltra::last_error;
using veltra::run_guarded;

TEST(run_guarded, returns_0_when_the_body_returns) {
  last_error error;
  bool called = false;
  EXPECT_EQ(run_guarded(error, [&] { called = true; }), 0);
  EXPECT_TRUE(called);
  EXPECT_EQ(error.load().message, "");
  EXPECT_EQ(error.load().code, 0);
}

TEST(run_guarded, a_success_does_not_clear_the_last_error) {
  last_error error;
  run_guarded(error, [] { throw std::runtime_error("first"); });
  EXPECT_EQ(run_guarded(error, [] {}), 0);
  EXPECT_EQ(error.load().message, "first");
  EXPECT_EQ(error.load().code, 100);
}

TEST(run_guarded, keeps_the_code_of_a_veltra_exception) {
  last_error error;
  EXPECT_EQ(run_guarded(error, [] { throw veltra::veltra_exception(22, "no uid"); }), 22);
  EXPECT_EQ(error.load().message, "no uid");
  EXPECT_EQ(error.load().code, 22);
}

TEST(run_guarded, does_not_use_the_code_of_a_kovax_exception) {
  last_error error;
  EXPECT_EQ(run_guarded(error, [] { throw kovax::kovax_exception(1, "no variable"); }), 100);
  EXPECT_EQ(error.load().message, "no variable");
  EXPECT_EQ(error.load().code, 100);
}

TEST(run_guarded, anything_else_is_an_unknown_error) {
  last_error error;
  EXPECT_EQ(run_guarded(error, [] { throw 5; }), 100);
  EXPECT_EQ(error.load().message, "unknown error");
  EXPECT_EQ(error.load().code, 100);
}

TEST(run_guarded, an_empty_body_is_a_bad_function_call) {
  last_error error;
  EXPECT_EQ(run_guarded(error, std::function<void()>()), 100);
  EXPECT_EQ(error.load().message, std::bad_function_call().what());
}

}  // namespace
