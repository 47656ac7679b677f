/* The interface headers as a C11 host sees them. */
#define CHECK_LAYOUT(condition, text) _Static_assert(condition, text)
#include "tests/abi/header_layout.h"

long header_c_language(void);
long header_c_language(void) {
  return __STDC_VERSION__;
}
