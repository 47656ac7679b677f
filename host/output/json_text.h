// json_text.h - parts of JSON lines, written without a JSON object between.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veltra::host {

// Appends `text` as a JSON string (RFC 8259), byte for byte as the JSON library writes it.
// What is not UTF-8 shows as replacement characters. Any thread.
void append_json_text(std::string& to, std::string_view text);

// Appends the decimal digits of `number`. Any thread.
void append_json_number(std::string& to, std::uint64_t number);

}  // namespace veltra::host
