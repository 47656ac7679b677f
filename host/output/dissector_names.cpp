#include "host/output/dissector_names.h"

#include <algorithm>
#include <array>
#include <string>
#include <unordered_map>

namespace veltra::host {

namespace {

using enum packet_kind;
using enum direction;

// Logical channels after 3GPP TS 36.331, 6.2.1, under the names that Wireshark
// registers; narrow-band messages end in ".nb", broadcast-only cells in ".mbms".
constexpr auto dissectors = std::to_array<dissector>({
    {"lte_rrc.bcch_bch", rrc, received},
    {"lte_rrc.bcch_bch.mbms", rrc, received},
    {"lte_rrc.bcch_bch.nb", rrc, received},
    {"lte_rrc.bcch_dl_sch", rrc, received},
    {"lte_rrc.bcch_dl_sch.mbms", rrc, received},
    {"lte_rrc.bcch_dl_sch.nb", rrc, received},
    {"lte_rrc.bcch_dl_sch_br", rrc, received},
    {"lte_rrc.dl_ccch", rrc, received},
    {"lte_rrc.dl_ccch.nb", rrc, received},
    {"lte_rrc.dl_dcch", rrc, received},
    {"lte_rrc.dl_dcch.nb", rrc, received},
    {"lte_rrc.mcch", rrc, received},
    {"lte_rrc.pcch", rrc, received},
    {"lte_rrc.pcch.nb", rrc, received},
    {"lte_rrc.sc_mcch", rrc, received},
    {"lte_rrc.sc_mcch.nb", rrc, received},
    {"lte_rrc.ul_ccch", rrc, sent},
    {"lte_rrc.ul_ccch.nb", rrc, sent},
    {"lte_rrc.ul_dcch", rrc, sent},
    {"lte_rrc.ul_dcch.nb", rrc, sent},
    {"nas-eps", nas, unknown},
    {"at", at, unknown},
    {"ip", ip, unknown},
    {"syslog", other, unknown},
});

// Words of ASN.1 type names such as "DL-DCCH-MessageType" that tell no channel.
constexpr auto empty_words = std::to_array<std::string_view>({"message", "messagetype"});

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The words of a name in lower case, each followed by one dot.
std::string key_of(std::string_view name) {
  constexpr std::string_view separators = "._-";
  std::string key;
  key.reserve(name.size() + 1);
  while (!name.empty()) {
    const std::size_t length = std::min(name.find_first_of(separators), name.size());
    std::string word(name.substr(0, length));
    std::transform(word.begin(), word.end(), word.begin(), lower);
    if (!word.empty() &&
        std::find(empty_words.begin(), empty_words.end(), word) == empty_words.end()) {
      key += word;
      key += '.';
    }
    name.remove_prefix(std::min(length + 1, name.size()));
  }
  return key;
}

}  // namespace

const dissector* find_dissector(std::string_view layer) {
  static const auto by_key = [] {
    std::unordered_map<std::string, const dissector*> table;
    for (const dissector& entry : dissectors) table.emplace(key_of(entry.name), &entry);
    return table;
  }();
  const auto found = by_key.find(key_of(layer));
  return found != by_key.end() ? found->second : nullptr;
}

}  // namespace veltra::host
