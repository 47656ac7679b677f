// path_parameter.h - text and path values of the init parameters.
#pragma once

#include <filesystem>
#include <string>

#include "implementation/json_fwd.h"

namespace veltra {

// Returns the text of a parameter. When the whole text has the form ${env:NAME}
// ("env" in any letter case), it is replaced by the environment variable NAME;
// inside a longer text nothing is replaced.
// Throws the JSON library's type error 302 for a value that is not a string, and
// kovax::kovax_exception (code 1, "failed to find env variable: " + NAME) when
// NAME is not set.
std::string expand_env_variables(const kovax::json& value);

// Returns the path that member `key` of `parameters` names, expanded as above.
// A relative path is joined to the working directory; in an absolute one the
// first "~" is replaced by the variable HOME. The path is empty when the member
// is absent or its text is empty. Throws as expand_env_variables does, also
// when HOME is needed and not set.
std::filesystem::path resolve_path_parameter(const kovax::json& parameters, const char* key);

}  // namespace veltra
