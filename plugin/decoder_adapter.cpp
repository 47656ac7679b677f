#include "plugin/decoder_adapter.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "platform/dynamic_library.h"
#include "platform/file.h"
#include "plugin/trace_db.h"

namespace veltra {

decoder_adapter::~decoder_adapter() {
  try {
    delete_decoder();
  } catch (...) {
  }
}

void decoder_adapter::delete_decoder() {
  if (dekodrix* const decoder = std::exchange(handle_, nullptr)) dekodrix_delete(decoder);
}

void decoder_adapter::configure(const std::filesystem::path& path, const host_log& log) {
  database_collection fresh = read_database_file(path, log);
  create_decoder();
  std::optional<std::string> configuration = fresh.find_decoder_config("MCU");
  if (!configuration) configuration = fresh.find_decoder_config("M4");
  if (!configuration) throw std::runtime_error("dekodrix config not found");
  if (!dekodrix_set_configuration_json(handle_, configuration->data(), configuration->size())) {
    throw std::runtime_error("dekodrix config failed to set");
  }
  collection_ = std::move(fresh);
  database_path_ = platform::path_to_utf8(path);
}

void decoder_adapter::create_decoder() {
  dekodrix* created = dekodrix_new();
  // An earlier decoder is given back as the plain 8-byte heap object that its
  // handle is; only the end of the instance calls dekodrix_delete.
  ::operator delete(std::exchange(handle_, created));
  if (handle_ == nullptr) throw std::runtime_error("dekodrix decoder could not be created");
  dekodrix_set_timebase(handle_, 0, true);
  dekodrix_reset(handle_);
}

void decoder_adapter::feed(std::string_view bytes) {
  dekodrix_append_buffer(handle_, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                         bytes.size());
  dekodrix_parse(handle_);
}

std::optional<dekodrix_statistics> decoder_adapter::statistics() const {
  const auto read = platform::find_loaded_function<decltype(&dekodrix_get_statistics)>(
      VELTRA_DECODER_NAME, "dekodrix_get_statistics");
  if (read == nullptr || !ready()) return std::nullopt;
  dekodrix_statistics statistics{};
  read(handle_, &statistics);
  return statistics;
}

}  // namespace veltra
