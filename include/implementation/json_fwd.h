// json_fwd.h - the JSON library's type, declared only: for headers that pass it on.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace kovax {
using json = nlohmann::json;
}  // namespace kovax
