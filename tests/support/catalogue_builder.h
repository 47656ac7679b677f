// catalogue_builder.h - catalogues of trace databases for tests.
#pragma once

#include <string>
#include <vector>

#include "implementation/json.h"
#include "plugin/database/cached_database.h"

namespace test_support {

struct listed_database {
  std::string type;
  std::string version;
  std::string uuid;
  std::string path;    // as the catalogue has it, such as "${root}fw.json"
  std::string sha256;  // veltra::sha256_hex() of its content
};

// A catalogue of `databases`; those in a row that have the same type belong to
// one device.
inline kovax::json catalogue_of(const std::string& updated,
                                const std::vector<listed_database>& databases) {
  auto devices = kovax::json::array();
  for (const listed_database& database : databases) {
    if (devices.empty() || devices.back()["type"] != database.type) {
      devices.push_back({{"type", database.type}, {"versions", kovax::json::array()}});
    }
    devices.back()["versions"].push_back(
        {{"version", database.version},
         {"uuid", database.uuid},
         {"database", {{"path", database.path}, {"sha256", database.sha256}}}});
  }
  return {{"firmwares", {{"updated_timestamp", updated}, {"devices", devices}}}};
}

}  // namespace test_support
