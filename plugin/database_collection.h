// database_collection.h - the databases that one database file holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plugin/trace_db_config.h"

namespace veltra {

// The records of one database file, in the order in which they were read.
// References to records are valid until the next append.
class database_collection {
 public:
  // Adds a record behind the others.
  void append(trace_db_config config);

  // The decoder configuration of the first record whose name is exactly `name`;
  // none when there is no such record or it has none.
  std::optional<std::string> find_decoder_config(std::string_view name) const;

  // The first record that accepts traces of this master, or null.
  trace_db_config* find_config_for_master(std::uint32_t master_id);

  const std::vector<trace_db_config>& configs() const { return configs_; }

  std::string uuid;  // of the database that was processed last

 private:
  std::vector<trace_db_config> configs_;
  std::unordered_map<std::uint32_t, std::size_t> position_by_master_;
};

}  // namespace veltra
