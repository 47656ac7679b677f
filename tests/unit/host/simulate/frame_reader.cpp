#include "tests/unit/host/simulate/frame_reader.h"

#include <cstddef>
#include <stdexcept>

namespace veltra::host {

namespace {

// RFC 1662, appendix C.3, bit by bit: the check over a frame together with its
// own FCS gives a constant.
constexpr std::uint32_t good_check = 0xDEBB20E3;

std::uint32_t check_sequence(std::string_view bytes) {
  std::uint32_t check = 0xFFFFFFFF;
  for (const char byte : bytes) {
    check ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) check = (check >> 1) ^ ((check & 1) != 0 ? 0xEDB88320 : 0);
  }
  return check;
}

std::uint64_t little_endian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i > 0; --i) {
    value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
  }
  return value;
}

std::string unstuff(std::string_view stuffed) {
  std::string bytes;
  for (std::size_t i = 0; i < stuffed.size(); ++i) {
    if (stuffed[i] != 0x7D) {
      bytes += stuffed[i];
    } else if (++i < stuffed.size()) {
      bytes += static_cast<char>(stuffed[i] ^ 0x20);
    } else {
      throw std::runtime_error("an escape without its byte");
    }
  }
  return bytes;
}

read_frame take_apart(const std::string& bytes) {
  if (bytes.size() < 21) throw std::runtime_error("a frame that is too short");
  if (check_sequence(bytes) != good_check) throw std::runtime_error("a bad FCS");
  const std::string_view view = bytes;
  read_frame frame;
  frame.version = static_cast<unsigned>(little_endian(view.substr(0, 1)));
  frame.master_id = static_cast<std::uint32_t>(little_endian(view.substr(1, 4)));
  frame.sequence = static_cast<std::uint32_t>(little_endian(view.substr(5, 4)));
  frame.timestamp_ns = little_endian(view.substr(9, 8));
  frame.trace = view.substr(17, view.size() - 21);
  return frame;
}

}  // namespace

std::vector<read_frame> read_frames(std::string_view stream) {
  std::vector<read_frame> frames;
  if (stream.empty()) return frames;
  if (stream.front() != 0x7E || stream.back() != 0x7E) {
    throw std::runtime_error("a stream without its flags");
  }
  while (!stream.empty()) {
    stream.remove_prefix(1);
    const std::size_t end = stream.find('\x7E');
    if (end == std::string_view::npos) break;
    if (end > 0) frames.push_back(take_apart(unstuff(stream.substr(0, end))));
    stream.remove_prefix(end);
  }
  return frames;
}

}  // namespace veltra::host
