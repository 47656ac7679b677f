#include <kovax/source.h>
extern "C" {
#define E __attribute__((visibility("default")))
E int32_t kovax_source_init(kovax_source**, const kovax_source_init_args*) { return 1; }
E int32_t kovax_source_init_parameters(void*, kovax_text_callback) { return 100; }
E int32_t kovax_source_start(kovax_source*, void*, kovax_packet_callback) { return 100; }
E int32_t kovax_source_stop(kovax_source*) { return 100; }
E int32_t kovax_source_release(kovax_source*) { return 100; }
E int32_t kovax_source_version(void*, kovax_version_callback) { return 100; }
E void kovax_source_get_last_error(kovax_source*, void*, kovax_error_callback) {}
}
