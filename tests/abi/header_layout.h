/*
 * header_layout.h - the layouts that hosts and decoding libraries are compiled
 * against. Included by one translation unit per language version; CHECK_LAYOUT is
 * that language's static assertion.
 */
#include <dekodrix/dekodrix.h>
#include <kovax/source.h>
#include <stddef.h>

#define CHECK_OFFSET(record, member, offset) \
  CHECK_LAYOUT(offsetof(record, member) == (offset), #record " " #member)

CHECK_LAYOUT(sizeof(kovax_stream_packet_t) == 72, "kovax_stream_packet_t");
CHECK_OFFSET(kovax_stream_packet_t, data, 0);
CHECK_OFFSET(kovax_stream_packet_t, data_size, 8);
CHECK_OFFSET(kovax_stream_packet_t, field_12, 12);
CHECK_OFFSET(kovax_stream_packet_t, format, 16);
CHECK_OFFSET(kovax_stream_packet_t, category, 24);
CHECK_OFFSET(kovax_stream_packet_t, field_32, 32);
CHECK_OFFSET(kovax_stream_packet_t, timestamp, 40);
CHECK_OFFSET(kovax_stream_packet_t, metadata, 48);
CHECK_OFFSET(kovax_stream_packet_t, sequence_number, 56);
CHECK_OFFSET(kovax_stream_packet_t, field_64, 64);

CHECK_LAYOUT(sizeof(kovax_source_init_args) == 40, "kovax_source_init_args");
CHECK_OFFSET(kovax_source_init_args, parameters, 0);
CHECK_OFFSET(kovax_source_init_args, log_user_data, 8);
CHECK_OFFSET(kovax_source_init_args, log, 16);
CHECK_OFFSET(kovax_source_init_args, error_user_data, 24);
CHECK_OFFSET(kovax_source_init_args, error, 32);

CHECK_LAYOUT(sizeof(kovax_error_t) == 16, "kovax_error_t");
CHECK_OFFSET(kovax_error_t, message, 0);
CHECK_OFFSET(kovax_error_t, code, 8);

CHECK_LAYOUT(sizeof(kovax_version_t) == 12, "kovax_version_t");
CHECK_OFFSET(kovax_version_t, major, 0);
CHECK_OFFSET(kovax_version_t, minor, 4);
CHECK_OFFSET(kovax_version_t, patch, 8);

CHECK_LAYOUT(sizeof(dekodrix_trace) == 40, "dekodrix_trace");
CHECK_OFFSET(dekodrix_trace, master_id, 0);
CHECK_OFFSET(dekodrix_trace, channel, 8);
CHECK_OFFSET(dekodrix_trace, timestamp, 16);
CHECK_OFFSET(dekodrix_trace, data, 24);
CHECK_OFFSET(dekodrix_trace, data_length, 32);
