// json_member.h - reading members of a document that somebody else wrote.
#pragma once

#include <string>

#include "implementation/json.h"

namespace veltra {

// The member `key` of `object`, living as long as the object; null if it is
// missing or if `object` is null itself. Throws the JSON library's type error if
// `object` is neither an object nor null.
const kovax::json& member(const kovax::json& object, const char* key);

// A copy of the text member `key` of `object`. Throws the JSON library's type
// error if it is missing ("type must be string, but is null") or not a text.
std::string text_member(const kovax::json& object, const char* key);

// The array that `value` is. Throws the JSON library's type error if it is none.
const kovax::json::array_t& as_array(const kovax::json& value);

// The array member `key` of `object`, living as long as the object. Throws likewise:
// what is missing is refused, never taken as empty.
const kovax::json::array_t& array_member(const kovax::json& object, const char* key);

}  // namespace veltra
