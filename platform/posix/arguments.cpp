#include "platform/arguments.h"

namespace platform {

std::vector<std::string> utf8_arguments(int argc, const char* const* argv) {
  return {argv, argv + argc};
}

}  // namespace platform
