// html_text.h - text of others inside HTML.
#pragma once

#include <string>
#include <string_view>

namespace veltra::report {

// `text` as it shows literally in an element or in an attribute between double quotation marks.
// What is not UTF-8, and control characters other than line breaks, become U+FFFD.
std::string escape_html(std::string_view text);

// Text of JSON as it can be the content of a script element: "<" only occurs in its strings.
std::string escape_script_json(std::string_view json);

// RFC 4648, clause 4.
std::string base64(std::string_view bytes);

}  // namespace veltra::report
