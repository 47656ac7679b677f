// json_numbers.h - JSON numbers as unsigned integers, without undefined behaviour.
//
// The library's own conversion of a floating value that does not fit is
// undefined; these define every case. A value of another type throws the
// library's type error 302, "type must be number, but is " and the type's name.
#pragma once

#include <cmath>
#include <cstdint>

#include "implementation/json.h"

namespace kovax {

namespace detail {

constexpr double two_to_32 = 4294967296.0;
constexpr double two_to_63 = 9223372036854775808.0;

}  // namespace detail

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

}  // namespace kovax
