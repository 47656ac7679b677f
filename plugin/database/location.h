// location.h - where the files of a catalogue come from and what they are called.
#pragma once

#include <string>
#include <string_view>

#include "implementation/json.h"

namespace veltra {

// Returns the address to download `location` from: the location itself, or, when
// it begins with the placeholder "${root}" (or "${ROOT}"), `root` in its place
// with one "/" between them unless the root ends with a "/" or "\".
//
// A placeholder must stand first. Wherever it stands, the first seven characters
// are what is replaced. Throws cache_settings_error (root_missing) "root missing
// from auto_detect_db_config" when it stands first and `root` is empty.
std::string resolve_location(std::string_view root, std::string_view location);

// Returns the name under which the database of a catalogue's version entry is
// kept in its directory, after the entry's "database"."path": what follows a
// leading placeholder, else what follows the last "/", else what follows the
// last "\", else the whole path.
//
// What follows the placeholder may hold "/", which then names subdirectories;
// with a "/" in front it is a rooted path. Throws the JSON library's type error
// if the path is missing or not a text.
std::string cache_file_name(const kovax::json& entry);

}  // namespace veltra
