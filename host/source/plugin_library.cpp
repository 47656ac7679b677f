#include "host/source/plugin_library.h"

#include <fmt/format.h>

#include <stdexcept>
#include <system_error>

#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr const char* plugin_file_name = "kovax-veltra-source.kovax";

std::filesystem::path find_plugin(const std::filesystem::path& named) {
  if (!named.empty()) return std::filesystem::absolute(named);
  const std::filesystem::path here = platform::executable_path().parent_path();
  // VELTRA_PLUGIN_FROM_BIN leads from the installed program to the installed plug-in.
  const std::filesystem::path places[] = {here, here / VELTRA_PLUGIN_FROM_BIN};
  for (const std::filesystem::path& place : places) {
    std::error_code ignored;
    if (std::filesystem::exists(place / plugin_file_name, ignored)) {
      return place / plugin_file_name;
    }
  }
  throw user_error(
      exit_code::bad_input,
      fmt::format("there is no {} beside this program or in {}; name it with --plugin.",
                  plugin_file_name, platform::path_to_utf8(places[1].lexically_normal())));
}

platform::dynamic_library load(const std::filesystem::path& file) {
  try {
    return platform::dynamic_library(file);
  } catch (const std::runtime_error& error) {
    throw user_error(
        exit_code::bad_input,
        fmt::format("cannot load the plug-in: {}; check that the file and the decoding "
                    "library beside it are whole.",
                    error.what()));
  }
}

template <typename Function>
Function resolve(const platform::dynamic_library& library, const char* name) {
  try {
    return library.function<Function>(name);
  } catch (const std::runtime_error& error) {
    throw user_error(
        exit_code::bad_input,
        fmt::format("the plug-in is incompatible: {}; name another with --plugin.", error.what()));
  }
}

}  // namespace

plugin_library::plugin_library(const std::filesystem::path& named)
    : file_(find_plugin(named)),
      library_(load(file_)),
      init(resolve<kovax_source_init_fn>(library_, "kovax_source_init")),
      start(resolve<kovax_source_start_fn>(library_, "kovax_source_start")),
      stop(resolve<kovax_source_stop_fn>(library_, "kovax_source_stop")),
      release(resolve<kovax_source_release_fn>(library_, "kovax_source_release")),
      get_last_error(
          resolve<kovax_source_get_last_error_fn>(library_, "kovax_source_get_last_error")),
      version_(resolve<kovax_source_version_fn>(library_, "kovax_source_version")) {}

std::string plugin_library::version() const {
  std::string text;
  version_(&text, [](void* user_data, const kovax_version_t* version) {
    *static_cast<std::string*>(user_data) =
        fmt::format("{}.{}.{}", version->major, version->minor, version->patch);
  });
  return text;
}

std::filesystem::path decoder_file() {
  return platform::loaded_library_file(VELTRA_DECODER_NAME);
}

}  // namespace veltra::host
