#include "host/output/pcapng_sink.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/output/exported_pdu.h"
#include "host/output/packet_direction.h"
#include "host/output/pcapng_blocks.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// Wireshark refuses packets with more bytes than this.
constexpr std::size_t max_packet = 262144;

constexpr std::int64_t ns_per_second = 1'000'000'000;

// Of the interfaces, in the order of packet_kind.
constexpr const char* descriptions[] = {
    "IP packets of the user plane",  "RRC messages (3GPP TS 36.331)",
    "NAS messages (3GPP TS 24.301)", "AT commands, answers and reports of losses",
    "messages of other layers",      "bytes of the trace as they came",
};

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

// Several remarks are one comment: some readers show only a packet's first.
void append_remark(std::string& to, std::string_view remark) {
  if (remark.empty()) return;
  if (!to.empty()) to += "; ";
  to += remark;
}

void append_step(std::string& to, std::uint64_t step) {
  if (step == 0) return;
  append_remark(to, fmt::format("the modem's clock went back by {:.3f} s before this packet",
                                static_cast<double>(step) / ns_per_second));
}

void append_missed(std::string& to, std::uint64_t count) {
  if (count == 0) return;
  append_remark(to, fmt::format("{} packet{} before this one {} missed: the reader was too slow",
                                count, count == 1 ? "" : "s", count == 1 ? "was" : "were"));
}

void append_dropped(std::string& to, std::uint64_t count) {
  if (count == 0) return;
  append_remark(to, fmt::format("{} trace{} before this packet {} dropped", count,
                                count == 1 ? "" : "s", count == 1 ? "was" : "were"));
}

}  // namespace

pcapng_sink::pcapng_sink(std::filesystem::path path, settings how)
    : file_sink(std::move(path)), settings_(how) {}

void pcapng_sink::write_header() {
  block_stream_.emplace(file(), key_log_,
                        is_stream()         ? block_stream::for_stream
                        : settings_.is_live ? block_stream::for_live_file
                                            : block_stream::for_file);
  if (is_stream()) put_section_header();
}

void pcapng_sink::put_section_header() {
  if (std::exchange(has_header_, true)) return;
  std::vector<std::string> comments;
  for (const fact& each : provenance_) comments.push_back(to_comment(each));
  block_stream_->write([&](std::string& to) {
    pcapng::append_section_header(to, "LTE modem trace", "veltra " VELTRA_VERSION, comments);
  });
  block_stream_->repeat_secrets();
}

void pcapng_sink::continue_from(pcapng_sink& previous) {
  key_log_ = std::exchange(previous.key_log_, {});
  key_log_.forget_counts();
  time_offset_ = previous.time_offset_;
  last_time_ = previous.last_time_;
  is_timed_ = previous.is_timed_;
}

// The first packet names the database. A file's header has waited for it; that of a stream
// could not, and the first interface says it instead.
void pcapng_sink::take_database(const packet& packet) {
  const auto metadata = kovax::json::parse(packet.metadata, nullptr, false);
  const auto text = [&](const char* key) {
    const bool is_there =
        metadata.is_object() && metadata.contains(key) && metadata.at(key).is_string();
    return is_there ? metadata.at(key).get<std::string>() : std::string();
  };
  for (fact& each : provenance_of_database(platform::path_from_utf8(text("modem_db_path")),
                                           text("modem_db_uuid"))) {
    if (has_header_) {
      append_remark(database_comment_, to_comment(each));
    } else {
      provenance_.push_back(std::move(each));
    }
  }
}

void pcapng_sink::write(const packet& packet) {
  if (!std::exchange(has_database_, true)) {
    take_database(packet);
    put_section_header();
  }
  if (is_raw(packet)) {
    if (settings_.packets.has(packet_kind::raw)) put_raw(packet);
  } else if (is_key_material(packet.layer)) {
    if (settings_.packets.has_secrets()) put_key_material(packet);
  } else if (const layer_format& format = format_of(packet.layer);
             settings_.packets.has(format.kind)) {
    put_message(packet, format);
  } else {
    pass_over(packet);
  }
  update_bytes();
}

void pcapng_sink::put_key_material(const packet& packet) {
  if (packet.layer == randbytes_layer) {
    key_log_.add_randbytes(packet.payload);
    block_stream_->random_bytes_came();
  } else {
    key_log_.add_session_master(packet.payload);
    block_stream_->master_came();
  }
}

// What it says of losses and of time concerns the packets that follow.
void pcapng_sink::pass_over(const packet& packet) {
  ++passed_over_;
  step_ = std::max(step_, packet.clock_step);
  if (const std::optional<std::uint64_t> dropped = dropped_traces(packet)) {
    dropped_ += *dropped;
    uncounted_ += *dropped;
  }
}

// Readers add whole seconds; the rest is in the times of the packets. So a packet's time
// shows the modem's, too, but for that rest.
std::uint64_t pcapng_sink::time_in_capture(const packet& packet) {
  const auto offset = static_cast<std::int64_t>(packet.time_offset);
  if (!time_offset_) {
    time_offset_ = offset / ns_per_second - (offset % ns_per_second < 0 ? 1 : 0);
  }
  const auto base = static_cast<std::uint64_t>(*time_offset_) * ns_per_second;
  const std::uint64_t time = packet.time + packet.time_offset;
  // A host's clock that was set back may lead before the first packet.
  return *time_offset_ > 0 && time < base ? 0 : time - base;
}

void pcapng_sink::put_raw(const packet& packet) {
  const layer_format& format = format_of(raw_layer);
  if (!is_timed_) last_time_ = time_in_capture(packet);
  interface& on = interface_of(packet_kind::raw);
  // A stream has no packets of its own, so that nothing need be cut. It has no time
  // either: with that of the message before, the capture is still in order.
  pcapng::enhanced_packet block;
  block.interface = on.number;
  block.time = last_time_;
  block.header = format.data_header;
  for (auto rest = packet.payload; !rest.empty(); rest = rest.subspan(block.payload.size())) {
    block.payload = rest.first(std::min(rest.size(), max_packet - block.header.size()));
    block.full_payload_size = block.payload.size();
    block_stream_->write([&](std::string& to) { pcapng::append_packet(to, block); });
    ++on.received;
    count_packet();
  }
}

void pcapng_sink::put_message(const packet& packet, const layer_format& format) {
  const bool dissectable = is_dissectable(format.kind, packet.payload);
  const direction way =
      dissectable ? packet_direction(format.kind, format.way, packet) : format.way;
  const std::string& header =
      dissectable ? format.headers[static_cast<std::size_t>(way)] : format.data_header;
  // Without a header there would be no telling on the interface for IP.
  const std::uint64_t time = time_in_capture(packet);
  const packet_kind kind =
      format.kind == packet_kind::ip && !dissectable ? packet_kind::other : format.kind;
  if (kind == packet_kind::ip && settings_.packets.has_secrets()) {
    block_stream_->before_ip_packet(packet.payload);
  }
  interface& on = interface_of(kind);
  latest_ = &on;
  ++on.received;
  last_time_ = std::max(last_time_, time);
  is_timed_ = true;

  pcapng::enhanced_packet block;
  block.interface = on.number;
  block.time = time;
  block.header = header;
  block.payload = packet.payload.first(std::min(packet.payload.size(), max_packet - header.size()));
  block.full_payload_size = packet.payload.size();
  if (block.payload.size() < packet.payload.size()) ++cut_packets_;
  block.way = way;
  comment_.clear();
  append_step(comment_, std::max(packet.clock_step, std::exchange(step_, 0)));
  append_remark(comment_, remark_);
  remark_.clear();
  append_missed(comment_, missed_);
  on.dropped += std::exchange(missed_, 0) + std::exchange(uncounted_, 0);
  if (const std::optional<std::uint64_t> dropped = dropped_traces(packet)) {
    append_remark(comment_, "dropped traces");
    on.dropped += *dropped;
    dropped_ += *dropped;
  } else {
    append_dropped(comment_, std::exchange(dropped_, 0));
  }
  append_remark(comment_,
                dissectable ? std::string_view(format.comment) : "no message of its layer");
  block.comment = comment_;
  block_stream_->write([&](std::string& to) { pcapng::append_packet(to, block); });
  count_packet();
}

void pcapng_sink::mark_missed(std::uint64_t count) {
  missed_ += count;
}

void pcapng_sink::add_remark(std::string_view remark) {
  remark_ = remark;
}

void pcapng_sink::write_trailer() {
  put_section_header();
  if (latest_ != nullptr) latest_->dropped += missed_ + uncounted_;
  block_stream_->write([this](std::string& to) {
    for (const std::optional<interface>& on : interfaces_) {
      if (on) pcapng::append_statistics(to, on->number, last_time_, on->received, on->dropped);
    }
  });
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
  add(passed_over_, "packet", "of other layers left out");
  return text;
}

const pcapng_sink::layer_format& pcapng_sink::format_of(std::string_view layer) {
  if (const layer_format* const known = formats_.find(layer)) return *known;
  layer_format format{packet_kind::other, direction::unknown, {}, {}, {}};
  format.data_header = exported_pdu_header("data", direction::unknown, layer);
  if (const dissector* found = find_dissector(layer)) {
    format.kind = found->kind;
    format.way = found->way;
    for (const direction way : {direction::unknown, direction::received, direction::sent}) {
      if (found->kind == packet_kind::ip) break;
      // Whether an AT text is a command is a guess, which may be shown in the packet's
      // flags, but not in the columns as a fact: a modem's echo is a command, too.
      const bool is_guess = found->kind == packet_kind::at && way != direction::unknown;
      format.headers[static_cast<std::size_t>(way)] =
          is_guess ? exported_pdu_header(found->name, direction::unknown, {}, direction_tag::always)
                   : exported_pdu_header(found->name, way);
    }
  } else {
    format.headers.fill(format.data_header);
    format.comment = "no dissector for layer " + std::string(layer);
  }
  return formats_.add(layer, std::move(format));
}

pcapng_sink::interface& pcapng_sink::interface_of(packet_kind kind) {
  const auto index = static_cast<std::size_t>(kind);
  std::optional<interface>& found = interfaces_[index];
  if (!found) {
    found = interface { interface_count_++ };
    const std::uint16_t link_type =
        kind == packet_kind::ip ? pcapng::link_type_raw_ip : pcapng::link_type_exported_pdu;
    block_stream_->write([&](std::string& to) {
      pcapng::append_interface(to, link_type, kind_names()[index], descriptions[index],
                               time_offset_.value_or(0), std::exchange(database_comment_, {}));
    });
  }
  return *found;
}

}  // namespace veltra::host
