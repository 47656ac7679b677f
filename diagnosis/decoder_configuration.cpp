#include "diagnosis/decoder_configuration.h"

#include <string>

#include "decoder/configuration.h"
#include "implementation/json_values.h"

namespace veltra::diagnosis {

bool is_refused_configuration(const kovax::json& configuration) {
  if (!configuration.is_object()) return false;
  const kovax::json& format = kovax::member(configuration, "format");
  return format.is_string() && format.get_ref<const std::string&>() == "veltra-frames" &&
         !open_decoder::parse_configuration(
             configuration.dump(-1, ' ', false, kovax::json::error_handler_t::replace));
}

}  // namespace veltra::diagnosis
