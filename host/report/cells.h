// cells.h - the cells that the modem was on, as they describe themselves.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/report/message.h"

namespace veltra::report {

// What the broadcast of a cell says (SystemInformationBlockType1, TS 36.331, 6.2.2), and what
// messages about it say. The broadcast names neither its physical identity nor its frequency:
// those are known only after a handover or a lost link.
struct cell {
  std::uint32_t frame = 0;  // where the cell was first read
  std::uint64_t time = 0;
  std::vector<std::string> plmns;         // "00101"; the first is the cell's own
  std::optional<std::uint32_t> tac;       // tracking area code
  std::optional<std::uint32_t> identity;  // 28 bits: eNodeB and cell
  std::optional<std::uint32_t> band;
  std::optional<std::uint32_t> pci;
  std::optional<std::uint32_t> earfcn;
  bool is_narrow_band = false;

  // For a sentence: "PLMN 001-01, TAC 0x0103, cell 0x0123A01, band 3, PCI 120".
  std::string text() const;
};

// The cells in the order in which the modem came to them; one more for each change.
std::vector<cell> find_cells(const std::vector<message>& messages);

}  // namespace veltra::report
