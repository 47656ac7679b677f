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

// Every block and every field starts at a multiple of 4.
constexpr std::size_t padded(std::size_t size) {
  return (size + 3) / 4 * 4;
}

constexpr std::size_t size_of_option(std::string_view value) {
  return option_header + padded(std::min(value.size(), longest_option));
}

constexpr std::size_t size_of_number_option = option_header + sizeof(std::uint64_t);

constexpr std::size_t size_of_text_option(std::string_view text) {
  return text.empty() ? 0 : size_of_option(text);
}

// Appends a block: its type and length, `max_content` bytes at most between construction and
// finish() without the end of the options, and its length again.
class block {
 public:
  block(std::string& to, std::uint32_t type, std::size_t max_content) : to_(to), begin_(to.size()) {
    to_.resize(begin_ + padded(max_content) + 3 * sizeof(std::uint32_t) + option_header);
    at_ = to_.data() + begin_;
    add(type);
    add(std::uint32_t{0});  // the length
  }

  template <typename Integer>
  void add(Integer value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
      at_[i] = static_cast<char>(value >> (8 * i) & 0xff);
    }
    at_ += sizeof value;
  }

  // The rest, up to a multiple of 4, is zero.
  void add(std::string_view bytes) { at_ = std::copy(bytes.begin(), bytes.end(), at_); }
  void pad() { at_ = to_.data() + begin_ + padded(size()); }

  // Two words, the high one first.
  void add_time(std::uint64_t time) {
    add(static_cast<std::uint32_t>(time >> 32));
    add(static_cast<std::uint32_t>(time));
  }

  void add_option(std::uint16_t code, std::string_view value) {
    value = value.substr(0, longest_option);
    add(code);
    add(static_cast<std::uint16_t>(value.size()));
    add(value);
    pad();
    has_options_ = true;
  }

  void add_option(std::uint16_t code, std::uint64_t value) {
    add(code);
    add(std::uint16_t{sizeof value});
    add(value);
    has_options_ = true;
  }

  void add_text_option(std::uint16_t code, std::string_view text) {
    if (!text.empty()) add_option(code, text);
  }

  void finish() {
    if (has_options_) add(std::uint32_t{option::end});
    const auto length = static_cast<std::uint32_t>(size() + sizeof(std::uint32_t));
    add(length);
    to_.resize(begin_ + length);
    at_ = to_.data() + begin_ + sizeof(std::uint32_t);
    add(length);
  }

 private:
  std::size_t size() const { return static_cast<std::size_t>(at_ - to_.data()) - begin_; }

  std::string& to_;
  const std::size_t begin_;
  char* at_;
  bool has_options_ = false;
};

std::string_view as_text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

void append_section_header(std::string& to, std::string_view hardware, std::string_view application,
                           std::span<const std::string> comments) {
  std::size_t options = size_of_text_option(hardware) + size_of_text_option(application);
  for (const std::string& comment : comments) options += size_of_text_option(comment);
  block out(to, section_header_type, 16 + options);
  out.add(byte_order_magic);
  out.add(major_version);
  out.add(std::uint16_t{0});
  out.add(unknown_section_length);
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
  block out(to, interface_description_type,
            8 + size_of_text_option(comment) + size_of_text_option(name) +
                size_of_text_option(description) + size_of_option({&nanoseconds, 1}) +
                size_of_number_option);
  out.add(link_type);
  out.add(std::uint16_t{0});
  out.add(std::uint32_t{0});  // no snapshot length
  out.add_text_option(option::comment, comment);
  out.add_text_option(option::interface_name, name);
  out.add_text_option(option::interface_description, description);
  out.add_option(option::interface_time_resolution, std::string_view(&nanoseconds, 1));
  if (time_offset != 0) {
    out.add_option(option::interface_time_offset, static_cast<std::uint64_t>(time_offset));
  }
  out.finish();
}

void append_packet(std::string& to, const enhanced_packet& packet) {
  constexpr char received[] = {1, 0, 0, 0};
  constexpr char sent[] = {2, 0, 0, 0};
  const std::string_view flags(packet.way == direction::received ? received : sent,
                               sizeof received);
  const std::size_t size = packet.header.size() + packet.payload.size();
  block out(to, enhanced_packet_type,
            20 + padded(size) + size_of_text_option(packet.comment) + size_of_option(flags));
  out.add(packet.interface);
  out.add_time(packet.time);
  out.add(static_cast<std::uint32_t>(size));
  out.add(static_cast<std::uint32_t>(packet.header.size() + packet.full_payload_size));
  out.add(packet.header);
  out.add(as_text(packet.payload));
  out.pad();
  out.add_text_option(option::comment, packet.comment);
  if (packet.way != direction::unknown) out.add_option(option::packet_flags, flags);
  out.finish();
}

void append_statistics(std::string& to, std::uint32_t interface, std::uint64_t time,
                       std::uint64_t received, std::optional<std::uint64_t> dropped) {
  block out(to, interface_statistics_type, 12 + 2 * size_of_number_option);
  out.add(interface);
  out.add_time(time);
  out.add_option(option::statistics_received, received);
  if (dropped) out.add_option(option::statistics_dropped, *dropped);
  out.finish();
}

void append_secrets(std::string& to, std::string_view key_log) {
  block out(to, decryption_secrets_type, 8 + padded(key_log.size()));
  out.add(secrets_are_tls_key_log);
  out.add(static_cast<std::uint32_t>(key_log.size()));
  out.add(key_log);
  out.pad();
  out.finish();
}

}  // namespace veltra::host::pcapng
