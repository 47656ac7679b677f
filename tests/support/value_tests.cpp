#include "tests/support/value_tests.h"

#include <cctype>
#include <functional>

#include "implementation/contract.h"

namespace test_support {

namespace {

// What GoogleTest allows in a name: the position, which makes it unique, and letters and
// digits of the value.
std::string test_name(const char* test, std::size_t position, std::string_view value) {
  constexpr std::size_t max_size = 40;
  std::string name = std::to_string(position);
  bool gap = true;
  for (const char character : value) {
    if (name.size() >= max_size) break;
    if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
      gap = true;
      continue;
    }
    if (gap) name += '_';
    name += character;
    gap = false;
  }
  return std::string(test) + "/" + name;
}

}  // namespace

void register_tests(const std::string& suite, const char* file, int line,
                    const std::vector<value_test>& tests, const value_list& list) {
  KOVAX_CONTRACT(!tests.empty() && !list.values.empty());
  for (const value_test& test : tests) {
    for (std::size_t i = 0; i < list.values.size(); ++i) {
      const std::function<testing::Test*()> make = [make_test = test.make, give = list.give,
                                                    value = list.values[i]] {
        give(value);
        return make_test();
      };
      testing::RegisterTest(suite.c_str(), test_name(test.name, i, list.texts[i]).c_str(), nullptr,
                            list.texts[i].c_str(), file, line, make);
    }
  }
}

}  // namespace test_support
