// catalogue_fuzz.cpp - any text as the catalogue of a cache.
//
// Every outcome is a list of databases with paths and addresses, or a refusal with a text.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "implementation/contract.h"
#include "implementation/json_document.h"
#include "implementation/json_values.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/location.h"

namespace {

void visit(const std::string& type, const kovax::json& entry) {
  const auto directory = veltra::version_directory("cache", type, entry);
  const auto database = veltra::database_directory(directory, entry);
  const std::string name = veltra::cache_file_name(entry);
  KOVAX_CONTRACT(veltra::database_file(database, entry) == database / name);
  const std::string path = kovax::text_member(kovax::member(entry, "database"), "path");
  KOVAX_CONTRACT(path.find(name) != std::string::npos);
  const std::string address = veltra::resolve_location("file:///origin", path);
  KOVAX_CONTRACT(address == path || address.starts_with("file:///origin/"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const kovax::json_document catalogue(text);
    veltra::for_each_version(catalogue.root(), visit);
    veltra::updated_time(catalogue.root());
  } catch (const std::exception& refusal) {
    KOVAX_CONTRACT(*refusal.what() != '\0');
  }
  return 0;
}
