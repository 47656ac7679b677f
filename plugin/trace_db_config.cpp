#include "plugin/trace_db_config.h"

#include <utility>

#include "implementation/json_document.h"

namespace veltra {

trace_db_config::~trace_db_config() {
  if (aliases) kovax::dismantle(*aliases);
  for (kovax::json& element : peer_buffers) kovax::dismantle(element);
}

void database_collection::append(trace_db_config config) {
  const std::size_t position = configs_.size();
  // An id that an earlier record has keeps that record.
  for (const std::uint32_t id : config.ids) position_by_master_.try_emplace(id, position);
  configs_.push_back(std::move(config));
}

std::optional<std::string> database_collection::find_decoder_config(std::string_view name) const {
  for (const trace_db_config& config : configs_) {
    if (config.name == name) return config.decoder_config;
  }
  return std::nullopt;
}

trace_db_config* database_collection::find_config_for_master(std::uint32_t master_id) {
  // Most traces have the master of the trace before them.
  if (latest_ && latest_->first == master_id) return &configs_[latest_->second];
  const auto found = position_by_master_.find(master_id);
  if (found == position_by_master_.end()) return nullptr;
  latest_ = *found;
  return &configs_[found->second];
}

}  // namespace veltra
