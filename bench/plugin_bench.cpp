// plugin_bench.cpp - what the plug-in adds to a packet on its way to the host.
//
// "bare" calls the host's callback with a packet that is ready; the others do
// the work of the plug-in first. Compare within one run: of_bare is how many
// times a bare call fits into one.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "plugin/packet_delivery.h"
#include "plugin/source_properties.h"
#include "plugin/trace_db.h"
#include "plugin/trace_db_config.h"

namespace {

using veltra::packet_delivery;
using veltra::packet_receiver;

void count(kovax_source* /*source*/, void* user_data, kovax_stream_packet_t packet) {
  *static_cast<std::uint64_t*>(user_data) += packet.data_size;
  benchmark::DoNotOptimize(packet);
}

// Seconds of one bare call, measured in the same run.
double bare_seconds() {
  using clock = std::chrono::steady_clock;
  constexpr int calls = 1 << 20;
  std::uint64_t bytes = 0;
  packet_receiver to{nullptr, &bytes, count};
  kovax_stream_packet_t packet{};
  packet.data_size = 1024;
  const auto begin = clock::now();
  for (int i = 0; i < calls; ++i) {
    benchmark::DoNotOptimize(to.callback);
    to.callback(to.source, to.user_data, packet);
  }
  return std::chrono::duration<double>(clock::now() - begin).count() / calls;
}

void report(benchmark::State& state, std::uint64_t bytes) {
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  // An inverted rate is the seconds of one iteration.
  state.counters["of_bare"] = benchmark::Counter(
      bare_seconds(), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void raw_chunk(benchmark::State& state) {
  const std::string chunk(static_cast<std::size_t>(state.range(0)), 'x');
  packet_delivery delivery;
  delivery.set_data_size(std::uint64_t{1} << 40);
  delivery.set_database("/var/lib/veltra/cache/database.tar.gz",
                        "5ae68be3-1ff0-8e9f-b47b-89bb206d4302");
  std::uint64_t bytes = 0;
  for (auto _ : state) delivery.deliver_raw({nullptr, &bytes, count}, chunk);
  report(state, bytes);
}
BENCHMARK(raw_chunk)->Arg(1024)->Arg(65536);

constexpr const char* database = R"({
  "meta": {"id": 3, "endianness": "little", "trace_id_size": 2, "type_mapping": "id",
           "trace_type_descriptors": [
             {"type": "peer_dump", "conditions": [{"id_range": {"min": 1, "max": 99}}]}]},
  "buffers": [{"id": 1, "name": "EPDCP_UP_PACKET"}, {"id": 4, "name": "AT_STRING_REQ"}],
  "peer_buffer_layers": [{"id": 7, "name": "rrc"}],
  "peer_buffers": [{"id": 6, "layer": 7, "name": "a", "type": "ASN_DL_DCCH_Message"}]})";

// A decoded trace with this buffer id and 128 bytes of body.
void decoded_trace(benchmark::State& state, const char* buffer) {
  veltra::database_collection collection;
  veltra::process_database_text(collection, {}, database);
  std::string bytes = std::string("\x01\0\x07", 3) + buffer + '\0' + std::string(128, 'x');
  const dekodrix_trace trace{3, 0, 1, reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()};
  packet_delivery delivery;
  std::uint64_t delivered = 0;
  const packet_receiver to{nullptr, &delivered, count};
  for (auto _ : state) {
    auto packet = convert_trace(*collection.find_config_for_master(3), trace);
    if (packet) delivery.deliver_decoded(to, *packet);
  }
  report(state, delivered);
}
BENCHMARK_CAPTURE(decoded_trace, ip, "1");
BENCHMARK_CAPTURE(decoded_trace, at_request, "4");
BENCHMARK_CAPTURE(decoded_trace, rrc, "6");

}  // namespace
