#include "decoder/configuration.h"

#include <algorithm>
#include <utility>

#include "implementation/json_document.h"

namespace open_decoder {
namespace {

using kovax::json;

constexpr std::string_view format_name = "veltra-frames";
constexpr std::uint32_t format_version = 1;
constexpr std::uint64_t max_id = 0xFFFFFFFF;
constexpr std::uint32_t max_trace_id_size = 4;

// Returns the member, or null if `value` is not an object that has it.
const json* member(const json& value, const char* name) {
  if (!value.is_object()) {
    return nullptr;
  }
  const auto found = value.find(name);
  return found == value.end() ? nullptr : &*found;
}

// Returns the value of a member that is an integer from 0 to 2^32-1.
std::optional<std::uint32_t> to_id(const json* value) {
  if (value == nullptr || !value->is_number_unsigned()) {
    return std::nullopt;
  }
  const auto number = value->get<std::uint64_t>();
  return number <= max_id ? std::optional(static_cast<std::uint32_t>(number)) : std::nullopt;
}

bool has_text(const json* value, std::string_view text) {
  return value != nullptr && value->is_string() && value->get_ref<const json::string_t&>() == text;
}

// Adds a master's id and aliases to `ids`.
bool add_master(const json& master, std::vector<std::uint32_t>& ids) {
  const auto id = to_id(member(master, "id"));
  if (!id) {
    return false;
  }
  ids.push_back(*id);
  const json* aliases = member(master, "aliases");
  if (aliases == nullptr) {
    return true;
  }
  return aliases->is_array() &&
         std::all_of(aliases->begin(), aliases->end(), [&](const json& item) {
           const auto alias = to_id(&item);
           ids.push_back(alias.value_or(0));
           return alias.has_value();
         });
}

std::optional<std::vector<std::uint32_t>> parse_masters(const json* masters) {
  if (masters == nullptr || !masters->is_array() || masters->empty()) {
    return std::nullopt;
  }
  std::vector<std::uint32_t> ids;
  for (const json& master : *masters) {
    if (!add_master(master, ids)) {
      return std::nullopt;
    }
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

std::optional<loss_trace> parse_loss_trace(const json& value) {
  const auto master_id = to_id(member(value, "master_id"));
  const auto trace_id = to_id(member(value, "trace_id"));
  const auto size = to_id(member(value, "trace_id_size"));
  if (!master_id || !trace_id || !size || *size < 1 || *size > max_trace_id_size) {
    return std::nullopt;
  }
  if ((std::uint64_t{*trace_id} >> (8 * *size)) != 0) {
    return std::nullopt;
  }
  const json* endianness = member(value, "endianness");
  const bool big = has_text(endianness, "big");
  if (endianness != nullptr && !big && !has_text(endianness, "little")) {
    return std::nullopt;
  }
  loss_trace trace{.master_id = *master_id, .id = {}, .id_size = *size};
  for (std::size_t i = 0; i < trace.id_size; ++i) {
    trace.id[big ? trace.id_size - 1 - i : i] = static_cast<std::uint8_t>(*trace_id >> (8 * i));
  }
  return trace;
}

std::optional<configuration> read_configuration(const json& document) {
  if (!has_text(member(document, "format"), format_name) ||
      to_id(member(document, "version")) != format_version) {
    return std::nullopt;
  }
  auto masters = parse_masters(member(document, "masters"));
  if (!masters) {
    return std::nullopt;
  }
  configuration result{.masters = std::move(*masters), .loss_trace = std::nullopt};
  if (const json* value = member(document, "loss_trace")) {
    result.loss_trace = parse_loss_trace(*value);
    if (!result.loss_trace || !result.accepts(result.loss_trace->master_id)) {
      return std::nullopt;
    }
  }
  return result;
}

}  // namespace

bool configuration::accepts(std::uint32_t master_id) const noexcept {
  return std::binary_search(masters.begin(), masters.end(), master_id);
}

std::optional<configuration> parse_configuration(std::string_view text) {
  try {
    const kovax::json_document document(text);
    return read_configuration(document.root());
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

}  // namespace open_decoder
