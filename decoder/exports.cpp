#include <dekodrix/dekodrix.h>
#include <new>
struct dekodrix { void* p; };
extern "C" {
#define E __attribute__((visibility("default")))
E dekodrix* dekodrix_new(void) { return new dekodrix{nullptr}; }
E void dekodrix_delete(dekodrix* d) { delete d; }
}
