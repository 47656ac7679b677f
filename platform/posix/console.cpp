#include "platform/console.h"

#include <signal.h>

namespace platform {

// A program that starts others must give them SIG_DFL back: what is ignored stays so
// across exec().
console_setup::console_setup() {
  signal(SIGPIPE, SIG_IGN);
}

console_setup::~console_setup() = default;

}  // namespace platform
