#include "host/simulate/virtual_modem.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "host/simulate/peer_buffer_table.h"
#include "host/simulate/trace_builder.h"

namespace veltra::host {

namespace {

constexpr std::uint64_t ns_per_us = 1000;
// Between the last message of one play and the start of the next.
constexpr std::uint64_t repetition_gap_ns = 1'000'000'000;

}  // namespace

virtual_modem make_virtual_modem(const session& recorded, const std::optional<std::string>& uuid) {
  virtual_modem modem;
  modem.messages = recorded.messages.size();

  // The database UID comes first in every play, so that a reader who joins a
  // running modem finds it too. Its text waits until the database is known,
  // which the messages may still add to.
  auto& traces = modem.traces.traces;
  traces.reserve(recorded.messages.size() + 1);
  traces.emplace_back();
  peer_buffer_table table;
  std::uint64_t last_ns = 0;
  for (const session_message& message : recorded.messages) {
    timed_trace trace{message.time_us * ns_per_us, build_trace(message, table, recorded.name)};
    last_ns = std::max(last_ns, trace.time_ns);
    traces.push_back(std::move(trace));
  }
  modem.traces.period_ns = last_ns + repetition_gap_ns;

  modem.database = make_database_document(table.buffers(), uuid);
  traces.front().bytes = build_database_uid_trace(modem.database.uuid);
  return modem;
}

}  // namespace veltra::host
