// publishing.h - catalogues for databases that lie in a directory.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace veltra::host {

// How a database is listed. Empty: "modem" for the device, the file's name without its
// ending for the version.
struct listing_names {
  std::string device;
  std::string version;
};

// Writes DIRECTORY/config.json, a catalogue of every .json and .gz file right in it, with
// digests. Entries of files that an earlier catalogue there lists keep their device and
// version. Returns a line for each database and one for the catalogue. Throws user_error and
// writes nothing if a file has a fault or no UUID, or if two have the same one.
std::string publish_databases(const std::filesystem::path& directory, const std::string& device);

// Copies the database `file` into the cache and lists it in the cache's catalogue. Returns a
// line. Throws user_error if the file has a fault or no UUID, or if the cache has another
// database of that UUID.
std::string add_database(const std::filesystem::path& file, const std::filesystem::path& cache,
                         const listing_names& names);

}  // namespace veltra::host
