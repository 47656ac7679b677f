// cached_database.h - what a cache holds of the databases that its catalogue lists.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "implementation/json_fwd.h"

namespace veltra {

// The SHA-256 digest (FIPS 180-4) of `bytes` as 64 lower-case hexadecimal digits.
std::string sha256_hex(std::string_view bytes);

// True if `expected` is exactly sha256_hex(`bytes`). Digits in upper case, blanks
// or a prefix never match: a catalogue writes its digests in one form only.
bool database_file_intact(std::string_view bytes, std::string_view expected);

class digests_ahead;

enum class database_state {
  intact,
  missing,
  damaged,     // its digest is not the catalogue's
  unreadable,  // it cannot be checked; see cached_database::reason
  hidden,      // intact, but find_database_file() does not return it
};

// Compares the digest of `file` with that of its catalogue entry: intact,
// missing or damaged. Reads the whole file. Throws
// std::filesystem::filesystem_error naming "exists", file_error, and the JSON
// library's type error if the file is there and the entry has no digest.
//
// `ahead`, if given, may know the digest already.
database_state check_database(const std::filesystem::path& file, const kovax::json& entry,
                              digests_ahead* ahead = nullptr);

struct cached_database {
  std::string device;  // the catalogue's "type"
  std::string version;
  std::string uuid;
  std::string location;  // where the catalogue says it comes from, as written there
  std::filesystem::path file;
  database_state state = database_state::missing;
  std::string reason;  // of the states unreadable and hidden
};

// Every database of the catalogue in `cache_directory`, in the catalogue's
// order, with its file checked. Changes nothing and downloads nothing. Throws
// file_error if there is no catalogue and the JSON library's errors if it is not
// one.
std::vector<cached_database> list_cached_databases(const std::filesystem::path& cache_directory);

}  // namespace veltra
