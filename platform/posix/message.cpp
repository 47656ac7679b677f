#include "platform/message.h"

namespace platform {

std::string utf8_message(std::string_view what) {
  return std::string(what);
}

}  // namespace platform
