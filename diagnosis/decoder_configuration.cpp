#include "diagnosis/decoder_configuration.h"

#include "decoder/configuration.h"
#include "implementation/json_values.h"

namespace veltra::diagnosis {

bool is_refused_configuration(const kovax::json& configuration) {
  return configuration.is_object() && kovax::member(configuration, "format") == "veltra-frames" &&
         !open_decoder::parse_configuration(
             configuration.dump(-1, ' ', false, kovax::json::error_handler_t::replace));
}

}  // namespace veltra::diagnosis
