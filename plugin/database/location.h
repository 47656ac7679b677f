// location.h - where the files of a catalogue come from, how they are fetched, and what
// they are called in the cache.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "implementation/json_fwd.h"

namespace veltra {

// Returns the address to download `location` from: the location itself, or, when
// it begins with the placeholder "${root}" (or "${ROOT}"), `root` in its place
// with one "/" between them unless the root ends with a "/" or "\".
//
// A placeholder must come first. Wherever it is, the first seven characters are what is
// replaced. Throws cache_settings_error (root_missing) "root missing from
// auto_detect_db_config" when it comes first and `root` is empty.
std::string resolve_location(std::string_view root, std::string_view location);

// Fetches the whole body found at `address`, any URL that libcurl supports
// (http:, https:, file: and others), and returns it as it came.
//
// `proxy`: address and port of a proxy. When present it is used even if it is
// empty, which turns off a proxy named by the environment; when absent the
// environment's (http_proxy and its like) holds.
//
// One attempt, without a timeout; redirects are not followed, and the page of
// an HTTP error status is a body like any other. Throws curlpp::RuntimeError or
// curlpp::LogicError with libcurl's own text when the transfer fails, also when
// it breaks off in mid-body.
//
// Initialises libcurl and cleans it up around the call: nothing else in the
// process may use libcurl meanwhile.
std::string download_to_string(const std::string& address, const std::optional<std::string>& proxy);

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
