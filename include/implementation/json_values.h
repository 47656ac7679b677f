// json_values.h - reading JSON that another program wrote: numbers, members, nesting.
//
// Every refusal is the JSON library's own: type error 302, "type must be number, but is "
// and the name of the type, or 305 for a member of what is not an object. Any thread.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "implementation/json.h"

namespace kovax {

namespace detail {

constexpr double two_to_32 = 4294967296.0;
constexpr double two_to_63 = 9223372036854775808.0;

}  // namespace detail

// --- numbers: the library's conversion of a floating value that does not fit is undefined ---

// The low 32 bits of a number, whose fraction is cut off first. true and false
// are 1 and 0.
inline std::uint32_t to_u32(const json& value) {
  if (value.is_number_unsigned()) return static_cast<std::uint32_t>(value.get<std::uint64_t>());
  if (value.is_number_integer()) return static_cast<std::uint32_t>(value.get<std::int64_t>());
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  const double whole = std::trunc(value.get<double>());
  if (!std::isfinite(whole)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::fmod(whole, detail::two_to_32)));
}

// An integer as it is, a negative one wrapped; the fraction of a floating value
// is cut off, and what 64 bits cannot hold becomes the nearest that they can.
// Booleans are not numbers here.
inline std::uint64_t to_u64(const json& value) {
  if (value.is_number_unsigned()) return value.get<std::uint64_t>();
  if (value.is_number_integer()) return static_cast<std::uint64_t>(value.get<std::int64_t>());
  const double whole = std::trunc(value.get<double>());
  if (whole >= 2 * detail::two_to_63) return UINT64_MAX;
  if (whole >= 0) return static_cast<std::uint64_t>(whole);
  if (whole < -detail::two_to_63) return 0;
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(whole));
}

// --- members ----------------------------------------------------------------------------

// The member `key` of `object`, living as long as the object; null if it is missing or if
// `object` is null itself. Throws if `object` is neither an object nor null.
inline const json& member(const json& object, const char* key) {
  static const json missing;
  if (object.is_null()) return missing;
  if (object.is_object() && !object.contains(key)) return missing;
  return object[key];  // throws if it is not an object
}

// A copy of the text member `key` of `object`. Throws if it is missing ("type must be
// string, but is null") or not a text.
inline std::string text_member(const json& object, const char* key) {
  return member(object, key).get<std::string>();
}

// Whether `value` is exactly this text. The library's own comparison with a text allocates
// and ends the process when it cannot.
inline bool is_text(const json& value, std::string_view text) noexcept {
  return value.is_string() && value.get_ref<const std::string&>() == text;
}

// The array that `value` is. Throws if it is not one.
inline const json::array_t& as_array(const json& value) {
  if (!value.is_array()) value.get<json::array_t>();  // throws type error 302
  // No copy: copying recurses, and the document may be nested deeper than any stack.
  return value.get_ref<const json::array_t&>();
}

// The array member `key` of `object`, living as long as the object. Throws likewise: a
// missing array is refused, never taken as empty.
inline const json::array_t& array_member(const json& object, const char* key) {
  return as_array(member(object, key));
}

// --- nesting ----------------------------------------------------------------------------

// Whether arrays and objects in `text` are nested in more than `max_levels` levels; those
// of `[{}]` are two. Reads the text once and stops at the first level beyond that, without
// parsing, which takes some thirty times as long. On text that is not JSON (RFC 8259) the
// answer is valid up to the first syntax error.
inline bool nested_deeper_than(std::string_view text, std::size_t max_levels) noexcept {
  std::size_t depth = 0;
  bool in_string = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '"') {
      in_string = !in_string;
    } else if (in_string) {
      if (c == '\\') ++at;
    } else if (c == '[' || c == '{') {
      if (++depth > max_levels) return true;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

}  // namespace kovax
