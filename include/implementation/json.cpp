#include "implementation/json.h"

namespace nlohmann::detail {

template class serializer<json>;
template class lexer<json, iterator_input_adapter<const char*>>;
template class parser<json, iterator_input_adapter<const char*>>;
template class lexer<json, iterator_input_adapter<std::string::const_iterator>>;
template class parser<json, iterator_input_adapter<std::string::const_iterator>>;
template class json_sax_dom_parser<json>;
template class json_sax_dom_callback_parser<json>;

}  // namespace nlohmann::detail
