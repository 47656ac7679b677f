// piece_keeper.h - what becomes of the files of a series once they are complete.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/output/piece.h"
#include "host/run/background_worker.h"

namespace veltra::host {

struct keeping_options {
  std::uint32_t max_pieces = 0;  // the oldest of the run is deleted for the next; 0: all stay
  bool prints_names = false;     // of complete files, on standard output
  std::string command = {};      // run with the name of each complete file; empty: none
  std::uint64_t min_free = 0;    // bytes of the file system; 0: not looked at
  // What pieces are called without number and time, or the names of single files.
  std::vector<std::filesystem::path> bases = {};
  bool is_series = true;  // otherwise the bases are files
};

// Announces complete files and deletes the oldest ones. Printing, commands and deletions
// are done on threads of its own, in the order of the files: a command that hangs costs
// the run nothing. Any thread, except for finish().
class piece_keeper {
 public:
  // Bytes that are free for this user in a directory. Tests put other figures there.
  using free_space = std::function<std::uint64_t(const std::filesystem::path& directory)>;
  static std::uint64_t system_free_space(const std::filesystem::path& directory);

  // `note` shows a sentence to a person; on any thread.
  piece_keeper(keeping_options options, std::function<void(const std::string&)> note,
               free_space free = system_free_space);

  // A piece begins, the latest.
  void begin(const piece& piece);

  // A file of a piece is complete.
  void add(const piece& piece, const std::filesystem::path& path);

  // The files of the piece under way, one of each series; before the first piece none.
  std::vector<std::filesystem::path> current_files();

  // True if as much space is free as there has to be, if need be after the oldest pieces
  // were deleted, those of earlier runs first. Pieces are deleted only if `max_pieces`
  // says that the old ones are not needed.
  bool make_room();

  // "less than 2.0 GB are free in DIRECTORY", for when there is no room.
  std::string describe_shortage() const;

  // Waits until everything is announced and every command has ended.
  void finish();

 private:
  bool is_room() const;
  bool delete_oldest();
  void delete_surplus();
  void announce(const std::filesystem::path& path);
  void run_command(const std::filesystem::path& path);

  const keeping_options options_;
  const std::function<void(const std::string&)> note_;
  const free_space free_;
  std::mutex mutex_;  // guards what follows up to the blank line
  piece latest_;
  std::multimap<std::uint32_t, std::filesystem::path> complete_;  // by number; of a ring

  bool is_print_failure_noted_ = false;  // the thread's of names_
  background_worker names_;              // prints and deletes
  background_worker commands_;           // runs commands
};

}  // namespace veltra::host
