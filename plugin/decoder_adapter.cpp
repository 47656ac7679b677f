#include "plugin/decoder_adapter.h"

#include <fstream>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/file.h"
#include "plugin/database/database_reader.h"
#include "plugin/trace_db.h"

namespace veltra {

namespace {

std::string read_database_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const auto refuse = [&path] {
    throw std::runtime_error("veltra plugin cannot open trace file at " +
                             platform::path_to_utf8(path));
  };
  if (!file) refuse();
  std::string bytes;
  constexpr std::size_t block = std::size_t{1} << 20;
  while (file) {
    const std::size_t have = bytes.size();
    bytes.resize(have + block);
    file.read(bytes.data() + have, static_cast<std::streamsize>(block));
    bytes.resize(have + static_cast<std::size_t>(file.gcount()));
  }
  if (file.bad()) refuse();  // a directory opens and cannot be read
  return bytes;
}

bool is_archive(const std::filesystem::path& path) {
  const std::filesystem::path extension = path.extension();
  if (extension == ".gz") return true;
  if (extension == ".json") return false;
  throw std::runtime_error("Database file extension needs to be .gz or .json");
}

}  // namespace

decoder_adapter::~decoder_adapter() noexcept(false) {
  if (handle_ != nullptr) dekodrix_delete(handle_);
}

void decoder_adapter::load_database(const std::filesystem::path& path, const host_log& log) {
  const std::string bytes = read_database_file(path);
  const bool archive = is_archive(path);
  database_collection fresh;
  read_trace_database(bytes, archive,
                      [&](std::string_view text) { process_trace_db(fresh, log, text); });

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

}  // namespace veltra
