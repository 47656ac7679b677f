// decoder_configuration_fuzz.cpp - the open decoder's configuration from any text.
//
// What is accepted keeps the promises that the decoder relies on.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "decoder/configuration.h"
#include "implementation/contract.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto parsed = open_decoder::parse_configuration(text);
  if (!parsed) {
    return 0;
  }
  const auto& masters = parsed->masters;
  KOVAX_CONTRACT(!masters.empty());
  KOVAX_CONTRACT(std::is_sorted(masters.begin(), masters.end()));
  KOVAX_CONTRACT(parsed->accepts(masters.front()) && parsed->accepts(masters.back()));
  if (parsed->loss_trace) {
    KOVAX_CONTRACT(parsed->accepts(parsed->loss_trace->master_id));
    KOVAX_CONTRACT(parsed->loss_trace->id_size >= 1 && parsed->loss_trace->id_size <= 4);
  }
  return 0;
}
