// database_log.h - what the log lines about databases have told.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// Listens to the messages of a cache's synchronisation and of the search for a
// database, to explain a failure by what came before it. The messages are part
// of the plug-in's interface.
class database_log {
 public:
  void take(std::string_view message);

  // --- synchronisation: what is under way, and what failed before ---

  // Reasons, one for each location of the catalogue that was tried in vain.
  const std::vector<std::string>& failed_locations() const { return failed_locations_; }

  // The file of the database whose turn it is; empty before the first.
  const std::string& file() const { return file_; }

  // The UUID of the database that is being downloaded; empty while none is.
  const std::string& downloading() const { return downloading_; }

  // --- search in the stream ---

  // The UUID in the stream; empty until there is one.
  const std::string& uuid() const { return uuid_; }

  // Texts in a UUID's place that were none.
  std::size_t rejected() const { return rejected_; }

  // The latest of them, and whether it was heard of for the first time: every pass
  // of the search names all of them again.
  const std::string& rejected_text() const { return rejected_text_; }
  bool rejected_is_new() const { return rejected_is_new_; }

  // The directories that were looked in, in order.
  const std::vector<std::string>& directories() const { return directories_; }

  // The directory that the UUID's database was found in.
  const std::string& located() const { return located_; }

 private:
  std::vector<std::string> failed_locations_;
  std::string file_;
  std::string downloading_;
  std::string uuid_;
  std::size_t rejected_ = 0;
  std::size_t most_rejected_ = 0;  // in any pass
  std::string rejected_text_;
  bool rejected_is_new_ = false;
  std::vector<std::string> directories_;
  std::string located_;
};

// The messages that tell of a failure which the work goes on after; the reason
// follows the first.
inline constexpr std::string_view catalogue_not_fetched =
    "Failed to download config.json. Reason: ";
inline constexpr std::string_view uuid_rejected = "uuid does not match regex, continue searching ";

// The reason in such a message. libcurl has none for a text that is no address.
std::string_view reason_of(std::string_view text);

// If `message` begins with `start`, returns true and sets `rest` to what follows.
bool split_message(std::string_view message, std::string_view start, std::string_view& rest);

}  // namespace veltra::host
