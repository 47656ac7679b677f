// json_nesting.h - how deep a JSON text is nested, before it is parsed.
#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

// Whether arrays and objects in `text` are nested in more than `levels` levels; those
// of `[{}]` are two. Reads the text once and stops at the first level beyond that;
// parsing takes some thirty times as long. Of a text that is no JSON (RFC 8259) it tells
// the truth up to the place where a parser stops. Any thread; throws nothing.
bool nested_deeper_than(std::string_view text, std::size_t levels) noexcept;

}  // namespace veltra
