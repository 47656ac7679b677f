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

// Truncates toward zero; negative values wrap as two's complement does. What no
// 64-bit integer can hold becomes `too_large`, or 0 when it is negative.
inline std::uint64_t truncate_to_u64(double value, std::uint64_t too_large) {
  constexpr double two_to_63 = 9223372036854775808.0;
  const double whole = std::trunc(value);
  if (whole >= 2 * two_to_63) return too_large;
  if (whole >= 0) return static_cast<std::uint64_t>(whole);
  if (whole >= -two_to_63) return static_cast<std::uint64_t>(static_cast<std::int64_t>(whole));
  return 0;
}

}  // namespace detail

// The low 32 bits of an integer; a floating value is truncated first and is 0
// beyond 64 bits. true and false are 1 and 0.
inline std::uint32_t to_u32(const json& value) {
  if (value.is_number_unsigned()) return static_cast<std::uint32_t>(value.get<std::uint64_t>());
  if (value.is_number_integer()) return static_cast<std::uint32_t>(value.get<std::int64_t>());
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  return static_cast<std::uint32_t>(detail::truncate_to_u64(value.get<double>(), 0));
}

// An integer as it is (a negative one wraps); a floating value is truncated and
// saturates. Booleans are not numbers here.
inline std::uint64_t to_u64(const json& value) {
  if (value.is_number_unsigned()) return value.get<std::uint64_t>();
  if (value.is_number_integer()) return static_cast<std::uint64_t>(value.get<std::int64_t>());
  return detail::truncate_to_u64(value.get<double>(), UINT64_MAX);
}

}  // namespace kovax
