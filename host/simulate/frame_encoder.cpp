#include "host/simulate/frame_encoder.h"

#include <zlib.h>

#include <array>

#include "implementation/contract.h"

namespace veltra::host {

namespace {

constexpr std::uint8_t frame_version = 1;

// RFC 1662, section 4: flag, control escape, and the bit that an escape flips.
constexpr char flag = 0x7E;
constexpr char escape = 0x7D;
constexpr char escape_bit = 0x20;

template <typename Integer>
char* put_little_endian(char* to, Integer value) {
  for (std::size_t i = 0; i < sizeof value; ++i) *to++ = static_cast<char>(value >> (8 * i) & 0xFF);
  return to;
}

// Writes `bytes` stuffed at `to`, which has room for twice as many; returns the end.
char* stuff(std::string_view bytes, char* to) {
  for (const char byte : bytes) {
    if (byte == flag || byte == escape) {
      *to++ = escape;
      *to++ = static_cast<char>(byte ^ escape_bit);
    } else {
      *to++ = byte;
    }
  }
  return to;
}

uLong check_sequence(uLong so_far, std::string_view bytes) {
  return crc32(so_far, reinterpret_cast<const Bytef*>(bytes.data()),
               static_cast<uInt>(bytes.size()));
}

}  // namespace

frame_encoder::frame_encoder(std::uint32_t master_id, std::uint32_t first_sequence)
    : master_id_(master_id), sequence_(first_sequence), stuffed_(2 * max_frame_size + 2) {}

void frame_encoder::append(std::string_view trace, std::uint64_t timestamp_ns, std::string& out) {
  KOVAX_CONTRACT(trace.size() <= max_trace_size);

  std::array<char, frame_header_size> header_bytes;
  char* field = header_bytes.data();
  *field++ = static_cast<char>(frame_version);
  field = put_little_endian(field, master_id_);
  field = put_little_endian(field, sequence_);
  put_little_endian(field, timestamp_ns);
  const std::string_view header(header_bytes.data(), header_bytes.size());

  std::array<char, frame_check_size> check_bytes;
  const uLong check = check_sequence(check_sequence(0, header), trace);
  put_little_endian(check_bytes.data(), static_cast<std::uint32_t>(check));

  char* end = stuffed_.data();
  *end++ = flag;
  end = stuff(header, end);
  end = stuff(trace, end);
  end = stuff(std::string_view(check_bytes.data(), check_bytes.size()), end);
  *end++ = flag;
  out.append(stuffed_.data(), static_cast<std::size_t>(end - stuffed_.data()));

  // 0 marks a restart, so the counter skips it when it wraps.
  if (++sequence_ == 0) sequence_ = 1;
}

}  // namespace veltra::host
