// json.h - the JSON library, with its assertions tied to ours.
//
// Everything in the tree includes the library through this header, so that
// JSON_ASSERT means the same always-on contract in every translation unit.
#pragma once

#include "implementation/contract.h"
#include "implementation/json_fwd.h"

#define JSON_ASSERT(...) KOVAX_CONTRACT(__VA_ARGS__)
#include <nlohmann/json.hpp>
