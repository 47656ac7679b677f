// packet_sink.h - the sink and the checks that the options of `decode` and `capture` ask for.
#pragma once

#include <memory>
#include <string>

#include "host/output/rotating_sink.h"
#include "host/output/sink.h"
#include "host/run/input.h"
#include "host/run/run_options.h"

namespace veltra::host {

// The sink for packets of the format that is asked for.
std::unique_ptr<sink> make_packet_sink(const output_options& options, const input& input);

// The sink for TLS secrets; null if none is asked for. Fails at once where no file can be.
std::unique_ptr<sink> make_key_log(const output_options& options);

// Throws user_error (usage) if both names lead to one file.
void refuse_same_output(const std::string& output, const std::string& other);

// Throws user_error (usage) if Wireshark could not open what is written.
void check_wireshark_output(const output_options& options);

// The same for the pieces of a series.
rotating_sink::factory make_packet_piece_factory(const output_options& options, const input& input);

// Throws user_error (usage) if `output` is a file of the cache.
void refuse_file_of_cache(const std::string& output, const database_options& database);

// Throws user_error (usage) if --metadata was given and the format has none.
void refuse_metadata_without_effect(const output_options& options);

// Throws user_error (usage) if --time-base was given and changes nothing: JSON Lines keep
// the modem's times.
void refuse_time_base_without_effect(const run_options& options);

}  // namespace veltra::host
