#include "host/output/pcapng_blocks.h"

#include <algorithm>
#include <utility>

namespace veltra::host::pcapng {

namespace {

constexpr std::uint32_t byte_order_magic = 0x1A2B3C4D;
constexpr std::uint16_t major_version = 1;
constexpr std::uint64_t unknown_section_length = ~std::uint64_t{0};
constexpr std::uint32_t secrets_are_tls_key_log = 0x544c534b;  // "TLSK"

namespace option {
constexpr std::uint16_t end = 0;
constexpr std::uint16_t comment = 1;
constexpr std::uint16_t section_hardware = 2;
constexpr std::uint16_t section_application = 4;
constexpr std::uint16_t interface_name = 2;
constexpr std::uint16_t interface_description = 3;
constexpr std::uint16_t interface_time_resolution = 9;
constexpr std::uint16_t interface_time_offset = 14;
constexpr std::uint16_t packet_flags = 2;
constexpr std::uint16_t statistics_received = 4;
constexpr std::uint16_t statistics_dropped = 5;
}  // namespace option

constexpr char nanoseconds = 9;  // negative power of ten

constexpr std::size_t longest_option = 0xffff;
constexpr std::size_t option_header = 4;  // code and length

template <typename Integer>
void append_integer(std::string& to, Integer value) {
  char bytes[sizeof value];
  for (std::size_t i = 0; i < sizeof value; ++i) {
    bytes[i] = static_cast<char>(value >> (8 * i) & 0xff);
  }
  to.append(bytes, sizeof bytes);
}

void append_u16(std::string& to, std::uint16_t value) {
  append_integer(to, value);
}
void append_u32(std::string& to, std::uint32_t value) {
  append_integer(to, value);
}
void append_u64(std::string& to, std::uint64_t value) {
  append_integer(to, value);
}

// A timestamp goes out as two words, the high one first.
void append_time(std::string& to, std::uint64_t time) {
  append_u32(to, static_cast<std::uint32_t>(time >> 32));
  append_u32(to, static_cast<std::uint32_t>(time));
}

// 0 behind the end of `bytes`.
template <typename Integer>
Integer integer_at(std::string_view bytes, std::size_t at) {
  if (bytes.size() < at + sizeof(Integer)) return 0;
  Integer value = 0;
  for (std::size_t i = sizeof value; i-- > 0;) {
    value = static_cast<Integer>(value << 8 | static_cast<std::uint8_t>(bytes[at + i]));
  }
  return value;
}

// Puts the block's type and length in front and its length behind what is
// appended between construction and finish().
class block {
 public:
  block(std::string& to, std::uint32_t type) : to_(to), begin_(to.size()) {
    append_u32(to_, type);
    append_u32(to_, 0);
  }

  void add_option(std::uint16_t code, std::string_view value) {
    value = value.substr(0, longest_option);
    append_u16(to_, code);
    append_u16(to_, static_cast<std::uint16_t>(value.size()));
    to_ += value;
    pad();
    has_options_ = true;
  }

  void add_text_option(std::uint16_t code, std::string_view text) {
    if (!text.empty()) add_option(code, text);
  }

  // Every block and every field starts at a multiple of 4.
  void pad() { to_.append((4 - (to_.size() - begin_) % 4) % 4, '\0'); }

  void finish() {
    if (has_options_) append_u32(to_, option::end);
    const auto length = static_cast<std::uint32_t>(to_.size() - begin_ + sizeof(std::uint32_t));
    append_u32(to_, length);
    for (std::size_t i = 0; i < sizeof length; ++i) {
      to_[begin_ + 4 + i] = static_cast<char>(length >> (8 * i) & 0xff);
    }
  }

 private:
  std::string& to_;
  std::size_t begin_;
  bool has_options_ = false;
};

std::string_view as_text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

void append_section_header(std::string& to, std::string_view hardware, std::string_view application,
                           std::span<const std::string> comments) {
  block out(to, section_header_type);
  append_u32(to, byte_order_magic);
  append_u16(to, major_version);
  append_u16(to, 0);
  append_u64(to, unknown_section_length);
  for (const std::string& comment : comments) out.add_text_option(option::comment, comment);
  out.add_text_option(option::section_hardware, hardware);
  out.add_text_option(option::section_application, application);
  out.finish();
}

std::vector<std::string> section_comments(std::string_view file) {
  constexpr std::size_t fixed_size = 24;  // from the block's type to the section's length
  if (integer_at<std::uint32_t>(file, 0) != section_header_type ||
      integer_at<std::uint32_t>(file, 8) != byte_order_magic) {
    return {};
  }
  std::string_view block = file.substr(0, integer_at<std::uint32_t>(file, 4));
  block.remove_prefix(std::min(block.size(), fixed_size));
  std::vector<std::string> comments;
  while (const auto code = integer_at<std::uint16_t>(block, 0)) {
    const std::size_t size = integer_at<std::uint16_t>(block, 2);
    const std::string_view value = block.substr(std::min(block.size(), option_header), size);
    if (value.size() != size) break;
    if (code == option::comment) comments.emplace_back(value);
    block.remove_prefix(std::min(block.size(), option_header + (size + 3) / 4 * 4));
  }
  return comments;
}

void append_interface(std::string& to, std::uint16_t link_type, std::string_view name,
                      std::string_view description, std::int64_t time_offset,
                      std::string_view comment) {
  block out(to, interface_description_type);
  append_u16(to, link_type);
  append_u16(to, 0);
  append_u32(to, 0);  // no snapshot length
  out.add_text_option(option::comment, comment);
  out.add_text_option(option::interface_name, name);
  out.add_text_option(option::interface_description, description);
  out.add_option(option::interface_time_resolution, {&nanoseconds, 1});
  if (time_offset != 0) {
    std::string number;
    append_u64(number, static_cast<std::uint64_t>(time_offset));
    out.add_option(option::interface_time_offset, number);
  }
  out.finish();
}

void append_packet(std::string& to, const enhanced_packet& packet) {
  block out(to, enhanced_packet_type);
  append_u32(to, packet.interface);
  append_time(to, packet.time);
  append_u32(to, static_cast<std::uint32_t>(packet.header.size() + packet.payload.size()));
  append_u32(to, static_cast<std::uint32_t>(packet.header.size() + packet.full_payload_size));
  to += packet.header;
  to += as_text(packet.payload);
  out.pad();
  out.add_text_option(option::comment, packet.comment);
  if (packet.way != direction::unknown) {
    const char flags[] = {packet.way == direction::received ? '\1' : '\2', 0, 0, 0};
    out.add_option(option::packet_flags, {flags, sizeof flags});
  }
  out.finish();
}

void append_statistics(std::string& to, std::uint32_t interface, std::uint64_t time,
                       std::uint64_t received, std::optional<std::uint64_t> dropped) {
  block out(to, interface_statistics_type);
  append_u32(to, interface);
  append_time(to, time);
  const auto add_count = [&out](std::uint16_t code, std::uint64_t count) {
    std::string number;
    append_u64(number, count);
    out.add_option(code, number);
  };
  add_count(option::statistics_received, received);
  if (dropped) add_count(option::statistics_dropped, *dropped);
  out.finish();
}

void append_secrets(std::string& to, std::string_view key_log) {
  block out(to, decryption_secrets_type);
  append_u32(to, secrets_are_tls_key_log);
  append_u32(to, static_cast<std::uint32_t>(key_log.size()));
  to += key_log;
  out.pad();
  out.finish();
}

}  // namespace veltra::host::pcapng
