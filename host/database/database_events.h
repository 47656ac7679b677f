// database_events.h - what the events about databases have reported so far.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/source/source_events.h"

namespace veltra::host {

// Keeps the state of a cache's synchronisation and of the search for the database that
// the stream names, so that a failure is explained by what preceded it. One thread.
class database_events {
 public:
  void take(const source_event& event);

  // --- synchronisation ---

  // Why the locations of the catalogue that were tried gave none, in their order.
  const std::vector<std::string>& failed_locations() const { return failed_locations_; }

  // The file of the database whose turn it is; empty before the first.
  const std::string& file() const { return file_; }

  // The UUID of the database that is being downloaded; empty while none is.
  const std::string& downloading() const { return downloading_; }

  // --- search in the stream ---

  // The UUID in the stream; empty until there is one.
  const std::string& uuid() const { return uuid_; }

  // How many texts in a UUID's place were rejected.
  std::size_t rejected() const { return rejected_; }

  // The latest of them, and whether it was reported for the first time: every pass of
  // the search reports all of them again.
  const std::string& rejected_text() const { return rejected_text_; }
  bool rejected_is_new() const { return rejected_is_new_; }

  // The directories that were searched, in order.
  const std::vector<std::string>& directories() const { return directories_; }

  // The directory of the UUID's database; empty until it is found.
  const std::string& located() const { return located_; }

 private:
  std::vector<std::string> failed_locations_;
  std::string file_;
  std::string downloading_;
  std::string uuid_;
  std::size_t rejected_ = 0;
  std::size_t max_rejected_ = 0;  // of all passes
  std::string rejected_text_;
  bool rejected_is_new_ = false;
  std::vector<std::string> directories_;
  std::string located_;
};

}  // namespace veltra::host
