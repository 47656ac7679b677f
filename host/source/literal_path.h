// literal_path.h - paths in the plug-in's parameters.
#pragma once

#include <filesystem>
#include <string>

namespace veltra::host {

// A path in a form that the plug-in takes literally: it would replace "~" in an
// absolute path and a whole text of the form ${env:NAME}. A tilde behind a network root
// name of Windows stays: such a path has no other form.
std::string literal_path(const std::filesystem::path& path);

}  // namespace veltra::host
