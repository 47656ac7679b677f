// download.h - fetching one file over the network or from the file system.
#pragma once

#include <optional>
#include <string>

namespace veltra {

// Fetches the whole body found at `address`, any URL that libcurl supports
// (http:, https:, file: and others), and returns it as it came.
//
// `proxy`: address and port of a proxy. When present it is used even if it is
// empty, which turns off a proxy named by the environment; when absent the
// environment's (http_proxy and its like) holds.
//
// One attempt, without a time-out; redirects are not followed, and the page of
// an HTTP error status is a body like any other. Throws curlpp::RuntimeError or
// curlpp::LogicError with libcurl's own text when the transfer fails, also when
// it breaks off in mid-body.
//
// Initialises libcurl and cleans it up around the call: nothing else in the
// process may use libcurl meanwhile.
std::string download_to_string(const std::string& address, const std::optional<std::string>& proxy);

}  // namespace veltra
