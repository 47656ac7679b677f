#include "host/report/capture_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "host/output/pcapng_blocks.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::report {

namespace {

using host::exit_code;
using host::user_error;
namespace pcapng = host::pcapng;

constexpr std::uint32_t byte_order_magic = 0x1A2B3C4D;
constexpr std::uint32_t obsolete_packet_type = 2;
constexpr std::uint32_t simple_packet_type = 3;

// Limits for what a damaged or hostile file claims.
constexpr std::uint32_t max_block_size = 64U << 20U;
constexpr std::size_t max_interfaces = 4096;

// Bounds-checked integers of a block, in the section's byte order.
class cursor {
 public:
  cursor(std::span<const std::uint8_t> bytes, bool big_endian)
      : rest_(bytes), big_endian_(big_endian) {}

  bool has(std::size_t count) const { return rest_.size() >= count; }

  std::span<const std::uint8_t> take(std::size_t count) {
    const std::size_t size = std::min(count, rest_.size());
    const std::span<const std::uint8_t> taken = rest_.first(size);
    rest_ = rest_.subspan(size);
    return taken;
  }

  // 0 for what is missing; ask has() where the difference matters.
  std::uint32_t u16() { return integer(2); }
  std::uint32_t u32() { return integer(4); }

 private:
  std::uint32_t integer(std::size_t size) {
    const std::span<const std::uint8_t> bytes = take(size);
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      value = value << 8U | bytes[big_endian_ ? i : bytes.size() - 1 - i];
    }
    return value;
  }

  std::span<const std::uint8_t> rest_;
  bool big_endian_;
};

std::string_view as_text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::size_t padded(std::size_t size) {
  return (size + 3) / 4 * 4;
}

void for_each_option(
    cursor rest,
    const std::function<void(std::uint32_t code, std::span<const std::uint8_t> value)>& take) {
  while (rest.has(4)) {
    const std::uint32_t code = rest.u16();
    const std::uint32_t size = rest.u16();
    if (code == 0 || !rest.has(size)) return;
    const std::span<const std::uint8_t> value = rest.take(padded(size));
    take(code, value.first(size));
  }
}

struct interface_description {
  std::uint16_t link_type = 0;
  std::string name;
  std::uint64_t units_per_second = 1'000'000;
  std::uint64_t offset_seconds = 0;

  std::uint64_t nanoseconds(std::uint64_t units) const {
    constexpr std::uint64_t per_second = 1'000'000'000;
    const std::uint64_t seconds = units / units_per_second;
    const std::uint64_t rest = units % units_per_second;
    // A resolution finer than a nanosecond does not fit the product; its digits are lost.
    const std::uint64_t fraction = units_per_second > per_second
                                       ? rest / (units_per_second / per_second)
                                       : rest * per_second / units_per_second;
    return (seconds + offset_seconds) * per_second + fraction;
  }
};

// if_tsresol: a negative power of ten, or of two with the top bit set.
std::uint64_t units_per_second(std::uint8_t resolution) {
  const unsigned exponent = resolution & 0x7FU;
  const bool is_power_of_two = (resolution & 0x80U) != 0;
  if (exponent > (is_power_of_two ? 63U : 19U)) return 1'000'000;
  std::uint64_t units = 1;
  for (unsigned i = 0; i < exponent; ++i) units *= is_power_of_two ? 2 : 10;
  return units;
}

interface_description read_interface(cursor body, bool big_endian) {
  interface_description result;
  result.link_type = static_cast<std::uint16_t>(body.u16());
  body.take(6);
  for_each_option(body, [&](std::uint32_t code, std::span<const std::uint8_t> value) {
    if (code == 2) result.name = as_text(value);
    if (code == 9 && value.size() == 1) result.units_per_second = units_per_second(value[0]);
    if (code == 14 && value.size() == 8) {
      cursor words(value, big_endian);
      const std::uint64_t first = words.u32();
      const std::uint64_t second = words.u32();
      result.offset_seconds = big_endian ? first << 32U | second : second << 32U | first;
    }
  });
  return result;
}

// The lowest two bits of a packet's flags: 1 inbound, 2 outbound.
way way_in(std::uint32_t flags) {
  switch (flags & 3U) {
    case 1:
      return way::received;
    case 2:
      return way::sent;
    default:
      return way::unknown;
  }
}

// Takes the tags off an exported PDU: big-endian code, size and value, ended by code 0. A
// direction among them goes before that in the packet's flags.
void read_exported_pdu(capture_frame& frame) {
  cursor rest(frame.bytes, true);
  std::size_t consumed = 0;
  while (rest.has(4)) {
    const std::uint32_t code = rest.u16();
    const std::uint32_t size = rest.u16();
    if (!rest.has(size)) return;
    const std::span<const std::uint8_t> value = rest.take(size);
    consumed += 4 + size;
    if (code == 0) break;
    std::string_view text = as_text(value);
    text = text.substr(0, text.find('\0'));
    if (code == 12) frame.dissector = text;
    if (code == 33) frame.protocol = text;
    if (code == 35) {
      const std::uint32_t number = cursor(value, true).u32();
      if (number <= 1) frame.direction = number == 0 ? way::sent : way::received;
    }
  }
  frame.bytes = frame.bytes.subspan(consumed);
  frame.full_size -= std::min(frame.full_size, static_cast<std::uint32_t>(consumed));
}

class reader {
 public:
  reader(const std::filesystem::path& path, const std::function<void(const capture_frame&)>& take)
      : name_(platform::path_to_utf8(path)), take_(take) {
    file_.reset(platform::open_file(path, platform::open_mode::read));
    if (!file_) fail(std::generic_category().message(errno));
  }

  capture_contents read() {
    while (next_block()) {
    }
    return contents_;
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw user_error(exit_code::bad_input,
                     fmt::format("cannot read the capture {}: {}.", name_, why));
  }

  // False if the file is over. Returns what is there, which may be less than asked for.
  std::size_t fill(std::span<std::uint8_t> into) {
    const std::size_t count =
        platform::read_bytes(file_.get(), reinterpret_cast<char*>(into.data()), into.size());
    if (count < into.size() && std::ferror(file_.get()) != 0) {
      fail(std::generic_category().message(errno));
    }
    return count;
  }

  // The file is not what it should be: not at all, or from here on.
  bool damaged() {
    if (contents_.frames == 0 && !in_section_) {
      fail("it is not a pcapng file; give a capture that veltra or Wireshark wrote");
    }
    contents_.is_cut_off = true;
    return false;
  }

  bool next_block() {
    std::array<std::uint8_t, 12> head{};
    const std::size_t count = fill(std::span(head).first(8));
    if (count == 0 && in_section_) return false;
    if (count < 8) return damaged();
    std::size_t have = 8;
    std::uint32_t type = cursor(head, big_endian_).u32();
    if (type == pcapng::section_header_type) {
      // The same in both byte orders; the magic behind it gives the section's.
      have += fill(std::span(head).subspan(8));
      if (have < head.size()) return damaged();
      big_endian_ = cursor(std::span(head).subspan(8), true).u32() == byte_order_magic;
      if (!big_endian_ && cursor(std::span(head).subspan(8), false).u32() != byte_order_magic) {
        return damaged();
      }
      in_section_ = true;
      interfaces_.clear();
    }
    if (!in_section_) return damaged();
    const std::uint32_t size = cursor(std::span(head).subspan(4), big_endian_).u32();
    if (size < have + 4 || size % 4 != 0 || size > max_block_size) return damaged();
    const std::size_t body_size = size - have - 4;
    body_.resize(body_size + 4);
    if (fill(body_) < body_.size()) return damaged();
    read_block(type, std::span(body_).first(body_size));
    return true;
  }

  void read_block(std::uint32_t type, std::span<const std::uint8_t> bytes) {
    cursor body(bytes, big_endian_);
    switch (type) {
      case pcapng::interface_description_type:
        if (interfaces_.size() < max_interfaces) {
          interfaces_.push_back(read_interface(body, big_endian_));
        }
        return;
      case pcapng::enhanced_packet_type:
        return read_packet(body, body.u32());
      case obsolete_packet_type: {
        const std::uint32_t interface = body.u16();
        body.u16();  // drops
        return read_packet(body, interface);
      }
      case simple_packet_type: {
        const std::uint32_t full_size = body.u32();
        return give(0, 0, full_size, body.take(full_size), body);
      }
      default:
        return;
    }
  }

  // What enhanced and obsolete packet blocks have in common, behind the interface.
  void read_packet(cursor body, std::uint32_t interface) {
    const std::uint64_t high = body.u32();
    const std::uint64_t units = high << 32U | body.u32();
    const std::uint32_t size = body.u32();
    const std::uint32_t full_size = body.u32();
    const std::span<const std::uint8_t> bytes = body.take(padded(size));
    give(interface, units, full_size, bytes.first(std::min<std::size_t>(size, bytes.size())), body);
  }

  void give(std::uint32_t interface, std::uint64_t units, std::uint32_t full_size,
            std::span<const std::uint8_t> bytes, cursor options) {
    capture_frame frame;
    frame.number = ++contents_.frames;
    frame.bytes = bytes;
    frame.full_size = full_size;
    if (interface < interfaces_.size()) {
      const interface_description& description = interfaces_[interface];
      frame.time = description.nanoseconds(units);
      frame.interface = description.name;
      frame.link_type = description.link_type;
    }
    for_each_option(options, [&](std::uint32_t code, std::span<const std::uint8_t> value) {
      if (code == 2 && value.size() == 4)
        frame.direction = way_in(cursor(value, big_endian_).u32());
    });
    if (frame.link_type == pcapng::link_type_exported_pdu) read_exported_pdu(frame);
    take_(frame);
  }

  std::string name_;
  const std::function<void(const capture_frame&)>& take_;
  platform::owned_file file_;
  std::vector<std::uint8_t> body_;
  std::vector<interface_description> interfaces_;
  capture_contents contents_;
  bool in_section_ = false;
  bool big_endian_ = false;
};

}  // namespace

capture_contents read_capture(const std::filesystem::path& path,
                              const std::function<void(const capture_frame&)>& take) {
  return reader(path, take).read();
}

}  // namespace veltra::report
