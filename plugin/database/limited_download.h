// limited_download.h - fetching a file so that no server can hold up or fill the caller.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace veltra {

struct download_limits {
  // For connecting, and for a transfer in which less than a byte a second comes.
  std::chrono::seconds timeout{30};
  std::size_t max_size = 0;  // of the file, bytes
  // Waits between two attempts; tests replace it.
  std::function<void(std::chrono::milliseconds)> pause;
};

// what() is "ADDRESS: REASON".
class download_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Fetches the whole file at `address`, a URL with the scheme http, https or file, as it
// came. `proxy` is as in download_to_string(). Redirects are not followed.
//
// What may pass (a connection that breaks off, an HTTP status of 500 or more) is tried
// three times, with pauses of 1 s and 2 s; nothing else is. Throws download_error for every
// failure: another HTTP status than 200, an empty file or one above `limits.max_size` too.
//
// Initialises libcurl and cleans it up around the call, as download_to_string() does.
std::string download_within(const std::string& address, const std::optional<std::string>& proxy,
                            const download_limits& limits);

// True if the connection to `address` can be read and changed on its way: plain http to
// another machine.
bool is_plain_http(const std::string& address);

}  // namespace veltra
