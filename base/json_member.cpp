#include "base/json_member.h"

namespace veltra {

const kovax::json& member(const kovax::json& object, const char* key) {
  static const kovax::json missing;
  if (object.is_null()) return missing;
  if (object.is_object() && !object.contains(key)) return missing;
  return object[key];  // throws if it is not an object
}

std::string text_member(const kovax::json& object, const char* key) {
  return member(object, key).get<std::string>();
}

const kovax::json::array_t& as_array(const kovax::json& value) {
  if (!value.is_array()) value.get<kovax::json::array_t>();  // throws type error 302
  // No copy: copying recurses, and the document may be nested deeper than any stack.
  return value.get_ref<const kovax::json::array_t&>();
}

const kovax::json::array_t& array_member(const kovax::json& object, const char* key) {
  return as_array(member(object, key));
}

}  // namespace veltra
