#include "tests/unit/decoder/stream.h"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <stdexcept>

extern "C" std::size_t encode_frame(std::uint8_t* out, std::uint32_t master_id,
                                    std::uint32_t sequence, std::uint64_t nanoseconds,
                                    const std::uint8_t* payload, std::size_t size);

namespace open_decoder::test {
namespace {

const bytes loss_trace_id = {0xFF, 0x0F};

std::uint32_t read_count(const bytes& data, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < sizeof value; ++i) {
    value |= std::uint32_t{data.at(offset + i)} << (8 * i);
  }
  return value;
}

void append_count(bytes& data, std::uint32_t count) {
  for (std::size_t i = 0; i < sizeof count; ++i) {
    data.push_back(static_cast<std::uint8_t>(count >> (8 * i)));
  }
}

}  // namespace

bytes to_bytes(std::string_view text) {
  return {text.begin(), text.end()};
}

bytes operator+(bytes left, const bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

bytes from_hex(std::string_view text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
               [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (digits.size() % 2 != 0) {
    throw std::invalid_argument("odd number of hexadecimal digits");
  }
  bytes result;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    result.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return result;
}

bytes encode(const frame_fields& fields) {
  bytes out(2 * (fields.payload.size() + min_frame_size) + 2);
  out.resize(encode_frame(out.data(), fields.master_id, fields.sequence, fields.timestamp,
                          fields.payload.data(), fields.payload.size()));
  return out;
}

bytes encode_unstuffed(const frame_fields& fields) {
  const bytes stuffed = encode(fields);
  bytes out;
  for (std::size_t i = 1; i + 1 < stuffed.size(); ++i) {
    const bool escaped = stuffed[i] == frame_escape;
    i += escaped ? 1 : 0;
    out.push_back(escaped ? static_cast<std::uint8_t>(stuffed[i] ^ escape_mask) : stuffed[i]);
  }
  return out;
}

bytes stuff(std::span<const std::uint8_t> unstuffed) {
  bytes out = {frame_flag};
  for (const std::uint8_t byte : unstuffed) {
    if (byte == frame_flag || byte == frame_escape) {
      out.push_back(frame_escape);
      out.push_back(static_cast<std::uint8_t>(byte ^ escape_mask));
    } else {
      out.push_back(byte);
    }
  }
  out.push_back(frame_flag);
  return out;
}

std::ostream& operator<<(std::ostream& out, const trace& value) {
  constexpr std::size_t shown = 16;
  out << "{master " << value.master_id << ", time " << value.timestamp << ", " << value.data.size()
      << " bytes:";
  for (std::size_t i = 0; i < std::min(shown, value.data.size()); ++i) {
    out << ' ' << +value.data[i];
  }
  return out << '}';
}

trace expected(const frame_fields& fields) {
  return {.master_id = fields.master_id,
          .channel = 0,
          .timestamp = fields.timestamp,
          .data = fields.payload};
}

trace loss_report(std::uint32_t missing, std::uint32_t damaged, std::uint64_t timestamp) {
  bytes data = loss_trace_id;
  append_count(data, missing);
  append_count(data, damaged);
  return {.master_id = known_master, .channel = 0, .timestamp = timestamp, .data = data};
}

counts counters(const dekodrix_statistics& statistics) {
  return {statistics.frames_found, statistics.frames_intact, statistics.frames_damaged,
          statistics.frames_of_unknown_masters, statistics.bytes_outside_frames};
}

std::vector<trace> take_all(decoder& source) {
  std::vector<trace> traces;
  while (const auto taken = source.take_trace()) {
    if ((taken->data == nullptr) != (taken->data_length == 0)) {
      throw std::logic_error("a record's data pointer and length disagree");
    }
    trace value{.master_id = taken->master_id,
                .channel = taken->channel,
                .timestamp = taken->timestamp,
                .data = {}};
    if (taken->data != nullptr) {
      value.data.assign(taken->data, taken->data + taken->data_length);
    }
    traces.push_back(std::move(value));
  }
  return traces;
}

std::vector<trace> decode(std::span<const std::uint8_t> stream, std::size_t piece) {
  decoder subject;
  if (!subject.set_configuration(test_configuration)) {
    throw std::logic_error("the tests' configuration was refused");
  }
  while (!stream.empty()) {
    const auto part = stream.first(std::min(piece, stream.size()));
    subject.append(part);
    subject.parse();
    stream = stream.subspan(part.size());
  }
  return take_all(subject);
}

outcome separate(const std::vector<trace>& traces) {
  const std::size_t report_size = loss_trace_id.size() + 2 * sizeof(std::uint32_t);
  outcome result;
  for (const trace& value : traces) {
    if (value.data.size() == report_size &&
        std::equal(loss_trace_id.begin(), loss_trace_id.end(), value.data.begin())) {
      result.missing += read_count(value.data, loss_trace_id.size());
      result.damaged += read_count(value.data, loss_trace_id.size() + sizeof(std::uint32_t));
    } else {
      result.traces.push_back(value);
    }
  }
  return result;
}

}  // namespace open_decoder::test
