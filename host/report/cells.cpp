#include "host/report/cells.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>
#include <system_error>

namespace veltra::report {

namespace {

// A bit string of `bits` bits as tshark shows it: its bytes in hexadecimal, filled up at the end.
std::optional<std::uint32_t> bit_string(std::string_view hex, unsigned bits) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(hex.data(), hex.data() + hex.size(), value, 16);
  if (hex.empty() || error != std::errc() || end != hex.data() + hex.size()) return std::nullopt;
  if (hex.size() * 4 < bits || hex.size() > 8) return std::nullopt;
  return static_cast<std::uint32_t>(value >> (hex.size() * 4 - bits));
}

std::optional<std::uint32_t> small_number(const field_values& fields, field which) {
  const auto number = fields.number(which);
  if (!number) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

// The digits of all networks are one list; the lengths say where each begins. A network without a
// country code of its own has that of the one before.
std::vector<std::string> read_plmns(const field_values& fields) {
  const auto digits = fields.numbers(field::sib1_plmn_digits);
  const auto mcc_lengths = fields.numbers(field::sib1_mcc_length);
  const auto mnc_lengths = fields.numbers(field::sib1_mnc_length);
  std::vector<std::string> result;
  std::size_t at = 0;
  const auto take = [&](std::uint64_t count) {
    std::string text;
    for (; count > 0 && at < digits.size(); --count) text += std::to_string(digits[at++]);
    return text;
  };
  const bool each_has_a_country = mcc_lengths.size() == mnc_lengths.size();
  std::string country;
  for (std::size_t i = 0; i < mnc_lengths.size(); ++i) {
    // Where only some have one, the digits do not say which: the first is certain.
    if (i == 0 || each_has_a_country) country = take(3);
    if (i > 0 && !each_has_a_country && mcc_lengths.size() != 1) break;
    result.push_back(country + "-" + take(mnc_lengths[i]));
  }
  return result;
}

cell read_broadcast(const message& message) {
  cell result;
  result.frame = message.frame;
  result.time = message.time;
  result.plmns = read_plmns(message.fields);
  result.tac = bit_string(message.fields.text(field::sib1_tracking_area), 16);
  result.identity = bit_string(message.fields.text(field::sib1_cell_identity), 28);
  result.band = small_number(message.fields, field::sib1_band);
  result.is_narrow_band = message.narrow_band;
  return result;
}

bool is_same(const cell& a, const cell& b) {
  return a.plmns == b.plmns && a.tac == b.tac && a.identity == b.identity;
}

}  // namespace

std::string cell::text() const {
  std::string result;
  const auto add = [&](const std::string& part) {
    if (!result.empty()) result += ", ";
    result += part;
  };
  if (!plmns.empty()) add("PLMN " + plmns.front());
  if (tac) add(fmt::format("TAC 0x{:04X}", *tac));
  if (identity) add(fmt::format("cell 0x{:07X}", *identity));
  if (band) add(fmt::format("band {}", *band));
  if (pci) add(fmt::format("PCI {}", *pci));
  if (earfcn) add(fmt::format("EARFCN {}", *earfcn));
  return result;
}

std::vector<cell> find_cells(const std::vector<message>& messages) {
  std::vector<cell> result;
  struct target {
    std::optional<std::uint32_t> pci;
    std::optional<std::uint32_t> earfcn;
  };
  target next;                         // of a handover, until its cell is read
  std::optional<std::size_t> serving;  // the cell of the connection
  for (const message& each : messages) {
    switch (each.rrc) {
      case rrc_message::system_information_1: {
        cell read = read_broadcast(each);
        if (read.plmns.empty()) break;
        if (!result.empty() && is_same(result.back(), read) && !next.pci) break;
        read.pci = next.pci;
        read.earfcn = next.earfcn;
        if (next.pci) serving = result.size();
        next = {};
        result.push_back(std::move(read));
        break;
      }
      case rrc_message::connection_setup_complete:
        if (!result.empty()) serving = result.size() - 1;
        next = {};
        break;
      case rrc_message::reconfiguration:
        if (each.fields.has(field::rrc_mobility_control_info)) {
          next.pci = small_number(each.fields, field::rrc_target_cell);
          next.earfcn = small_number(each.fields, field::rrc_target_frequency);
        }
        break;
      case rrc_message::reestablishment_request:
        // Names the cell whose link was lost (5.3.7.4).
        if (serving && !result[*serving].pci) {
          result[*serving].pci = small_number(each.fields, field::rrc_cell);
        }
        break;
      default:
        break;
    }
  }
  return result;
}

}  // namespace veltra::report
