#include "host/output/pcapng_sink.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/output/exported_pdu.h"
#include "host/output/pcapng_blocks.h"

namespace veltra::host {

namespace {

// Wireshark refuses packets with more bytes than this.
constexpr std::size_t max_packet = 262144;

constexpr std::string_view randbytes_layer = "handshake_randbytes";
constexpr std::string_view master_layer = "session_master";

struct kind_description {
  const char* name;
  const char* description;
};

// In the order of packet_kind.
constexpr kind_description descriptions[] = {
    {"ip", "IP traffic of the modem"},     {"rrc", "LTE RRC messages"},
    {"nas", "NAS EPS messages"},           {"at", "AT commands and answers"},
    {"other", "messages of other layers"}, {"raw", "the trace as it came"},
};

bool is_at_command(std::string_view text) {
  constexpr auto upper = [](char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; };
  return text.size() >= 2 && upper(text[0]) == 'A' && upper(text[1]) == 'T';
}

std::string_view as_text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// False for what a dissector could only call malformed: an empty message, or an
// IP packet without a version (RFC 791, RFC 8200) in its first four bits.
bool is_dissectable(packet_kind kind, std::span<const std::uint8_t> payload) {
  switch (kind) {
    case packet_kind::ip:
      return !payload.empty() && (payload[0] >> 4 == 4 || payload[0] >> 4 == 6);
    case packet_kind::rrc:
    case packet_kind::nas:
      return !payload.empty();
    case packet_kind::at:
    case packet_kind::other:
    case packet_kind::raw:
      break;
  }
  return true;
}

std::string describe_gap(std::uint64_t missed) {
  if (missed == 0) return {};
  return fmt::format("{} packet{} before this one {} missed: the reader was too slow", missed,
                     missed == 1 ? "" : "s", missed == 1 ? "was" : "were");
}

}  // namespace

pcapng_sink::pcapng_sink(std::filesystem::path path, settings how)
    : file_sink(std::move(path)), settings_(how) {}

void pcapng_sink::write_header() {
  block_stream_.emplace(file(), key_log_,
                        is_stream()         ? block_stream::for_stream
                        : settings_.is_live ? block_stream::for_live_file
                                            : block_stream::for_file);
  pcapng::append_section_header(block_, "LTE modem trace", "veltra " VELTRA_VERSION);
  block_stream_->write(block_);
  block_stream_->repeat_secrets();
}

void pcapng_sink::continue_from(pcapng_sink& previous) {
  key_log_ = std::exchange(previous.key_log_, {});
  key_log_.forget_counts();
  last_time_ = previous.last_time_;
}

void pcapng_sink::write(const packet& packet) {
  if (is_raw(packet)) {
    if (settings_.with_raw_packets) put_raw(packet);
  } else if (!put_key_material(packet)) {
    put_message(packet);
  }
  update_bytes();
}

bool pcapng_sink::put_key_material(const packet& packet) {
  if (packet.layer == randbytes_layer) {
    key_log_.add_randbytes(packet.payload);
    block_stream_->random_bytes_came();
  } else if (packet.layer == master_layer) {
    key_log_.add_session_master(packet.payload);
    block_stream_->master_came();
  } else {
    return false;
  }
  return true;
}

void pcapng_sink::put_raw(const packet& packet) {
  const layer_format& format = format_of(raw_layer);
  interface& on = interface_of(packet_kind::raw);
  // A stream has no packets of its own, so that nothing need be cut. It has no time
  // either: with that of the packet before, the capture is still in order.
  pcapng::enhanced_packet block;
  block.interface = on.number;
  block.time = last_time_;
  block.header = format.header;
  for (auto rest = packet.payload; !rest.empty(); rest = rest.subspan(block.payload.size())) {
    block.payload = rest.first(std::min(rest.size(), max_packet - block.header.size()));
    block.full_payload_size = block.payload.size();
    block_.clear();
    pcapng::append_packet(block_, block);
    block_stream_->write(block_);
    ++on.received;
  }
}

void pcapng_sink::put_message(const packet& packet) {
  const layer_format& format = format_of(packet.layer);
  const bool dissectable = is_dissectable(format.kind, packet.payload);
  const std::string& header = dissectable ? format.header : format.data_header;
  // Without a header there would be no telling on the interface for IP.
  const packet_kind kind =
      format.kind == packet_kind::ip && !dissectable ? packet_kind::other : format.kind;
  if (kind == packet_kind::ip) block_stream_->before_ip_packet(packet.payload);
  interface& on = interface_of(kind);
  ++on.received;
  const std::optional<std::uint64_t> dropped = dropped_traces(packet);
  on.dropped += dropped.value_or(0);
  last_time_ = std::max(last_time_, packet.time);

  pcapng::enhanced_packet block;
  block.interface = on.number;
  block.time = packet.time;
  block.header = header;
  block.payload = packet.payload.first(std::min(packet.payload.size(), max_packet - header.size()));
  block.full_payload_size = packet.payload.size();
  if (block.payload.size() < packet.payload.size()) ++cut_packets_;
  block.way = format.way;
  block.comment = dissectable ? std::string_view(format.comment) : "no message of its layer";
  if (format.kind == packet_kind::at) {
    // Told in a comment only: a direction would change what Wireshark's columns show.
    block.comment = dropped                                  ? "dropped traces"
                    : is_at_command(as_text(packet.payload)) ? "AT command"
                                                             : "AT answer";
  }
  on.dropped += missed_;
  const std::string gap = describe_gap(std::exchange(missed_, 0));
  if (!gap.empty()) block.comment = gap;
  const std::string remark = std::exchange(remark_, {});
  if (!remark.empty()) block.comment = remark;
  block_.clear();
  pcapng::append_packet(block_, block);
  block_stream_->write(block_);
}

void pcapng_sink::mark_missed(std::uint64_t count) {
  missed_ += count;
}

void pcapng_sink::add_remark(std::string_view remark) {
  remark_ = remark;
}

void pcapng_sink::write_trailer() {
  block_.clear();
  for (const std::optional<interface>& on : interfaces_) {
    if (on) pcapng::append_statistics(block_, on->number, last_time_, on->received, on->dropped);
  }
  block_stream_->write(block_);
  block_stream_->finish();
}

bool pcapng_sink::flush() {
  return block_stream_->flush(std::chrono::steady_clock::now());
}

std::string pcapng_sink::packet_remarks() const {
  std::string text;
  const auto add = [&text](std::uint64_t count, std::string_view thing, std::string_view why) {
    if (count == 0) return;
    fmt::format_to(std::back_inserter(text), "{}{} {}{} {}", text.empty() ? "" : ", ", count, thing,
                   count == 1 ? "" : "s", why);
  };
  add(key_log_.refused(), "TLS key trace", "of a wrong size");
  add(key_log_.unused_masters(), "TLS master secret", "without a handshake");
  add(key_log_.lone_handshakes(), "TLS handshake", "without a master secret");
  if (!text.empty()) text += " (kept as comments with the TLS secrets)";
  add(cut_packets_, "packet", fmt::format("cut to {} bytes", max_packet));
  return text;
}

const pcapng_sink::layer_format& pcapng_sink::format_of(std::string_view layer) {
  if (const auto known = formats_.find(layer); known != formats_.end()) return known->second;
  layer_format format{packet_kind::other, direction::unknown, {}, {}, {}};
  format.data_header = exported_pdu_header("data", direction::unknown, layer);
  if (const dissector* found = find_dissector(layer)) {
    format.kind = found->kind;
    format.way = found->way;
    if (found->kind != packet_kind::ip) {
      format.header = exported_pdu_header(found->name, found->way);
    }
  } else {
    format.header = format.data_header;
    format.comment = "no dissector for layer " + std::string(layer);
  }
  return formats_.emplace(layer, std::move(format)).first->second;
}

pcapng_sink::interface& pcapng_sink::interface_of(packet_kind kind) {
  const auto index = static_cast<std::size_t>(kind);
  std::optional<interface>& found = interfaces_[index];
  if (!found) {
    found = interface { interface_count_++ };
    block_.clear();
    pcapng::append_interface(
        block_, kind == packet_kind::ip ? pcapng::link_type_raw_ip : pcapng::link_type_exported_pdu,
        descriptions[index].name, descriptions[index].description);
    block_stream_->write(block_);
  }
  return *found;
}

}  // namespace veltra::host
