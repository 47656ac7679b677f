// gzip.h - compression of a whole text, RFC 1952.
#pragma once

#include <string>
#include <string_view>

namespace veltra::host {

// Returns `bytes` as one gzip member that tells neither time, name nor system,
// so that equal bytes give equal results. `bytes` must be smaller than 2 GiB (a
// broken contract). Any thread. Throws std::runtime_error if zlib cannot work.
std::string gzip(std::string_view bytes);

}  // namespace veltra::host
