// json.h - the JSON library, with its assertions tied to ours.
//
// Everything in the tree includes the library through this header, so that
// JSON_ASSERT means the same always-on contract in every translation unit.
#pragma once

#include "implementation/contract.h"
#include "implementation/json_fwd.h"

#define JSON_ASSERT(...) KOVAX_CONTRACT(__VA_ARGS__)
#include <nlohmann/json.hpp>

// Reading and writing texts is most of the library, and takes a second to compile in each
// file that does it: json.cpp compiles it for all.
namespace nlohmann::detail {

extern template class serializer<json>;
extern template class lexer<json, iterator_input_adapter<const char*>>;
extern template class parser<json, iterator_input_adapter<const char*>>;
extern template class lexer<json, iterator_input_adapter<std::string::const_iterator>>;
extern template class parser<json, iterator_input_adapter<std::string::const_iterator>>;
extern template class json_sax_dom_parser<json>;
extern template class json_sax_dom_callback_parser<json>;

}  // namespace nlohmann::detail
