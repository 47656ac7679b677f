// What receiving through the serial component costs, against a bare read loop
// on the same pseudo-terminal: bytes per second at full speed, and the share of
// one processor at the pace of a 1000000 baud line.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>
#include <thread>

#include "implementation/zet_serialport/zet_serialport.h"
#include "tests/unit/implementation/zet_serialport/pseudo_terminal.h"

namespace {

using serial_test::pseudo_terminal;
using zet_serialport_lib::zet_serialport;

constexpr std::size_t chunk_size = 1024;  // of the plug-in's reads, by default

// Reads exactly `total` bytes, as the extraction loop sizes its reads.
std::size_t receive(zet_serialport& port, std::size_t total) {
  std::string chunk;
  std::size_t received = 0;
  while (received < total) {
    chunk.clear();
    const auto wanted = std::max(chunk_size, port.bytes_available());
    port.read(chunk, std::min(wanted, total - received));
    benchmark::DoNotOptimize(chunk.data());
    received += chunk.size();
  }
  return received;
}

// The least that any receiver must do: one read after the other, each as large
// as the driver's queue.
std::size_t receive(int descriptor, std::size_t total) {
  static char bytes[4096];
  std::size_t received = 0;
  while (received < total) {
    const auto count = read(descriptor, bytes, std::min(sizeof bytes, total - received));
    if (count <= 0) throw std::system_error(errno, std::system_category(), "read");
    benchmark::DoNotOptimize(bytes);
    received += static_cast<std::size_t>(count);
  }
  return received;
}

// Puts the line into raw mode through the component and gives a descriptor of it.
int bare_descriptor(const pseudo_terminal& line) {
  const int descriptor = open(line.device().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::system_category(), "open");
  zet_serialport port(line.device());
  port.open(zet_serialport_lib::zet_serialport_settings{}, true);
  return descriptor;
}

template <typename Receiver>
void run_at_full_speed(benchmark::State& state, const pseudo_terminal& line, Receiver&& receiver) {
  constexpr std::size_t total = std::size_t{8} << 20;
  const std::string sent(total, '\x5A');
  for (auto _ : state) {
    std::thread modem([&line, &sent] { line.send(sent); });
    receive(receiver, total);
    modem.join();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(total));
}

void component_at_full_speed(benchmark::State& state) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(zet_serialport_lib::zet_serialport_settings{}, true);
  run_at_full_speed(state, line, port);
}
BENCHMARK(component_at_full_speed)->UseRealTime()->Unit(benchmark::kMillisecond);

void bare_reads_at_full_speed(benchmark::State& state) {
  const pseudo_terminal line;
  const int descriptor = bare_descriptor(line);
  run_at_full_speed(state, line, descriptor);
  close(descriptor);
}
BENCHMARK(bare_reads_at_full_speed)->UseRealTime()->Unit(benchmark::kMillisecond);

double seconds_of(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Sends one second of a 1000000 baud line with 10 bits for each byte, in the
// pieces that a USB converter delivers. Returns the processor time that took.
double send_at_line_pace(const pseudo_terminal& line, std::size_t total) {
  constexpr std::size_t piece = 512;
  constexpr auto pace = std::chrono::microseconds(10);  // for one byte
  const auto begin = std::chrono::steady_clock::now();
  const std::string bytes(piece, '\x5A');
  for (std::size_t sent = 0; sent < total; sent += piece) {
    std::this_thread::sleep_until(begin + pace * sent);
    line.send(std::string_view(bytes).substr(0, std::min(piece, total - sent)));
  }
  return seconds_of(CLOCK_THREAD_CPUTIME_ID);
}

template <typename Receiver>
void run_at_line_pace(benchmark::State& state, const pseudo_terminal& line, Receiver&& receiver) {
  constexpr std::size_t total = 100000;
  double receiving = 0;
  double elapsed = 0;
  for (auto _ : state) {
    const double processor_before = seconds_of(CLOCK_PROCESS_CPUTIME_ID);
    const double before = seconds_of(CLOCK_MONOTONIC);
    double sending = 0;
    std::thread modem([&] { sending = send_at_line_pace(line, total); });
    receive(receiver, total);
    modem.join();
    elapsed += seconds_of(CLOCK_MONOTONIC) - before;
    receiving += seconds_of(CLOCK_PROCESS_CPUTIME_ID) - processor_before - sending;
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(total));
  state.counters["processor_percent"] = 100 * receiving / elapsed;
}

void component_at_1000000_baud(benchmark::State& state) {
  const pseudo_terminal line;
  zet_serialport port(line.device());
  port.open(zet_serialport_lib::zet_serialport_settings{}, true);
  run_at_line_pace(state, line, port);
}
BENCHMARK(component_at_1000000_baud)->UseRealTime()->Iterations(3)->Unit(benchmark::kMillisecond);

void bare_reads_at_1000000_baud(benchmark::State& state) {
  const pseudo_terminal line;
  const int descriptor = bare_descriptor(line);
  run_at_line_pace(state, line, descriptor);
  close(descriptor);
}
BENCHMARK(bare_reads_at_1000000_baud)->UseRealTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
