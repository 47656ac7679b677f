#include "platform/console.h"

namespace platform {

console_setup::console_setup() = default;

console_setup::~console_setup() = default;

}  // namespace platform
