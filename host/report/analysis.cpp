#include "host/report/analysis.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "host/report/capture_reader.h"
#include "host/report/nas_copies.h"
#include "host/report/procedure_machine.h"
#include "host/report/tshark_reader.h"
#include "platform/file.h"

namespace veltra::report {

namespace {

// A clock that goes back by more is one that started again, not jitter between two sources.
constexpr std::uint64_t max_jitter = 1'000'000'000;  // nanoseconds

constexpr std::string_view no_tshark =
    "tshark is not installed, so that messages have no names and nothing is recognised: install "
    "Wireshark's tshark and make the report again.";

// What tshark says, frame by frame beside the capture's own reader.
class dissected_fields {
 public:
  dissected_fields(const std::filesystem::path& capture, const std::filesystem::path& tshark,
                   dissection& result)
      : result_(result) {
    if (tshark.empty()) {
      result_.lack = no_tshark;
      return;
    }
    try {
      result_.version = tshark_version(tshark);
      reader_ = std::make_unique<tshark_reader>(tshark, capture);
      advance();
    } catch (const std::system_error& error) {
      reader_.reset();
      result_.lack = fmt::format("{} cannot be started: {}.", platform::path_to_utf8(tshark),
                                 error.code().message());
    }
  }

  // The fields of frame `number`, which only grows; empty if tshark did not describe it.
  field_values of(std::uint32_t number) {
    while (next_ && *next_ < number) advance();
    if (!next_ || *next_ != number) return {};
    field_values found = std::move(fields_);
    advance();
    return found;
  }

  void finish() {
    if (!reader_) return;
    while (next_) advance();
    result_.unknown_fields = reader_->unknown_fields();
    result_.failure = reader_->failure();
    if (!has_any_ && !result_.failure.empty()) {
      result_.lack = fmt::format("tshark did not dissect the capture: {}.", result_.failure);
      result_.failure.clear();
    }
  }

 private:
  void advance() {
    next_ = reader_->next(fields_);
    if (next_) has_any_ = true;
  }

  dissection& result_;
  std::unique_ptr<tshark_reader> reader_;
  field_values fields_;
  std::optional<std::uint32_t> next_;
  bool has_any_ = false;
};

// Chunks of the trace itself, which a capture may have beside the messages.
bool is_raw_chunk(const capture_frame& frame) {
  return frame.protocol == "modem_trace";
}

class analyser {
 public:
  analyser(const std::filesystem::path& path, const std::filesystem::path& tshark)
      : path_(path), fields_(path, tshark, result_.dissection) {}

  analysis run() {
    result_.file = platform::path_to_utf8(path_);
    const capture_contents contents =
        read_capture(path_, [this](const capture_frame& frame) { take(frame); });
    fields_.finish();
    result_.frames = contents.frames;
    result_.is_cut_off = contents.is_cut_off;

    match_nas_copies(result_.messages);
    result_.procedures = find_procedures(result_.messages);
    result_.at_commands = find_at_commands(result_.messages);
    result_.cells = find_cells(result_.messages);
    result_.losses = find_losses(result_.messages);
    for (const message& each : result_.messages) traffic_.take_signalling(each);
    result_.ip = traffic_.finish();
    for (message& each : result_.messages) {
      if (each.layer == layer::ip) each.direction = traffic_.direction_of(each);
    }
    result_.verdict = find_verdict(result_);
    return std::move(result_);
  }

 private:
  void take(const capture_frame& frame) {
    field_values fields = fields_.of(frame.number);
    if (is_raw_chunk(frame)) return;
    message made = make_message(frame, std::move(fields));
    note_time(made);
    if (made.layer == layer::ip) {
      traffic_.take(made);
      if (++ip_messages_ > max_ip_messages) {
        ++result_.ip_packets_left_out;
        return;
      }
    }
    const std::size_t max_kept = made.layer == layer::ip ? max_ip_bytes : max_message_bytes;
    result_.bytes.add(frame.bytes.first(std::min(frame.bytes.size(), max_kept)));
    result_.messages.push_back(std::move(made));
  }

  void note_time(message& made) {
    if (latest_ && made.time + max_jitter < *latest_) made.clock_restarted = true;
    result_.begin = latest_ ? std::min(result_.begin, made.time) : made.time;
    result_.end = latest_ ? std::max(result_.end, made.time) : made.time;
    latest_ = made.time;
  }

  std::filesystem::path path_;
  analysis result_;
  dissected_fields fields_;
  ip_traffic traffic_;
  std::optional<std::uint64_t> latest_;
  std::size_t ip_messages_ = 0;
};

}  // namespace

void message_bytes::add(std::span<const std::uint8_t> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  ends_.push_back(bytes_.size());
}

std::span<const std::uint8_t> message_bytes::of(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
  return std::span(bytes_).subspan(begin, ends_[index] - begin);
}

std::uint64_t analysis::traces_lost() const {
  std::uint64_t sum = 0;
  for (const loss& each : losses) sum += each.traces;
  return sum;
}

analysis analyse(const std::filesystem::path& path, const std::filesystem::path& tshark) {
  return analyser(path, tshark).run();
}

}  // namespace veltra::report
