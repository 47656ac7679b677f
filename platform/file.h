// file.h - the few file services that differ between platforms.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

namespace platform {

// Paths are UTF-8 in every interface and native inside. Neither direction
// checks or normalises the text.
std::filesystem::path path_from_utf8(std::string_view text);
std::string path_to_utf8(const std::filesystem::path& path);

// True for a path that leads to one place whatever the working directory is: one
// from the root, on Windows with a drive letter, a colon and a separator (C:\dir) or
// with a network root name (\\server\share).
bool is_absolute_path(const std::filesystem::path& path);

// True for the name of a pipe that has a place of its own beside the file system, of which
// std::filesystem knows nothing: on Windows \\.\pipe\NAME.
bool is_pipe_name(const std::filesystem::path& path);

enum class open_mode {
  read,     // an existing file, from its start
  update,   // an existing file as it is, for reading and writing
  replace,  // a new or emptied file, for writing and reading back
  create,   // a new file, for writing; fails with EEXIST if there is one
  write,    // for writing only, as devices and pipes want it
  append,   // a new file or an existing one as it is, for reading and, at its end, writing
};

struct file_closer {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

// An open file that is closed with its owner; failures to close are ignored, see close_file().
using owned_file = std::unique_ptr<std::FILE, file_closer>;

// Opens a file in binary mode. Returns null and sets errno on failure; the caller closes what it
// got, by owned_file for example.
std::FILE* open_file(const std::filesystem::path& path, open_mode mode);

// Opens a named pipe for reading without waiting for its writer, which may wait for us.
// Null with errno set on failure, as above.
std::FILE* open_pipe_for_reading(const std::filesystem::path& path);

// Opens a new file without a name that anybody could meet, for writing and reading
// back; it is gone when it is closed. Null with errno set on failure, as above.
std::FILE* open_temporary_file();

// Like fread(3) and fwrite(3) with elements of one byte, but go on after an interruption
// by a signal. A smaller count than `size` is the end of the file or an error in errno.
std::size_t read_bytes(std::FILE* file, char* to, std::size_t size);
std::size_t write_bytes(std::FILE* file, const char* from, std::size_t size);

// Like fclose(3); an interruption by a signal is not a failure, for the file is closed
// then. Bytes that sync_file() had written are safe.
int close_file(std::FILE* file);

// Moves to `offset` bytes from the start, beyond 2 GiB too. Returns 0, or -1
// with errno set.
int seek_file(std::FILE* file, std::uint64_t offset);

// Hands everything written to `file` so far to the device and waits until it is
// there, so that it survives a loss of power. Returns 0, or -1 with errno set.
int sync_file(std::FILE* file);

// Makes sure that a name given or taken in the directory `path` survives a loss of
// power. Best effort: not every file system has the notion. Empty: the working directory.
void sync_directory(const std::filesystem::path& path);

// Gives `from` the name `to`; a file of that name is replaced in one step (rename(2)).
// Where a file that somebody has open cannot be replaced, as on Windows, waits a second
// for it. Returns the failure, in the system's category.
std::error_code replace_file(const std::filesystem::path& from, const std::filesystem::path& to);

// Makes sure that no byte written to `file` is translated.
void set_binary_mode(std::FILE* file);

// This process's number, unique among those that run.
unsigned long process_id();

// True when `file` is shown to a person as it is written.
bool is_terminal(std::FILE* file);

// How many characters a line of the terminal has; 0 if `file` is not one, or it does not
// report that.
unsigned terminal_columns(std::FILE* file);

// The running program's own file. Throws std::filesystem::filesystem_error if
// the system does not know it.
std::filesystem::path executable_path();

}  // namespace platform
