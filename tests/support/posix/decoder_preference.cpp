#include "tests/support/decoder_preference.h"

namespace test_support {

void prefer_decoder_of_the_environment() {}

}  // namespace test_support
