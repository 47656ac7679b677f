// plugin_library.h - the plug-in, loaded as any host loads it.
#pragma once

#include <kovax/source.h>

#include <filesystem>
#include <string>

#include "platform/dynamic_library.h"

namespace veltra::host {

// The functions of a loaded plug-in that this program calls, valid while the object lives.
class plugin_library {
 public:
  // Loads the plug-in `named`, or, when that is empty, the one that belongs to
  // this program: beside the executable, or where an installation puts it.
  // Throws user_error (bad_input) when there is none or it cannot be loaded.
  explicit plugin_library(const std::filesystem::path& named);

  // Absolute.
  const std::filesystem::path& file() const { return file_; }

  // Such as "1.2.3".
  std::string version() const;

 private:
  std::filesystem::path file_;
  platform::dynamic_library library_;  // before the functions, which come from it

 public:
  const kovax_source_init_fn init;
  const kovax_source_start_fn start;
  const kovax_source_stop_fn stop;
  const kovax_source_release_fn release;
  const kovax_source_get_last_error_fn get_last_error;

 private:
  const kovax_source_version_fn version_;
};

// The decoding library that the plug-in is bound to; empty if it is another one than
// dekodrix. Valid while a plugin_library lives.
std::filesystem::path decoder_file();

}  // namespace veltra::host
