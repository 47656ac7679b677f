// archive_writer.h - the compressed archive that a trace database is kept in: gzip
// (RFC 1952) over ustar (IEEE Std 1003.1 "pax").
//
// Equal content gives equal bytes: neither format carries a time, an owner or a system
// here. That is why the product writes its archives itself.
#pragma once

#include <string>
#include <string_view>

namespace veltra::host {

// Returns an archive that contains one regular file. `name` is shorter than 100
// characters and `content` smaller than 2 GiB, which every reader of such archives
// accepts (broken contracts otherwise). Any thread.
std::string ustar_archive(std::string_view name, std::string_view content);

// Returns `bytes`, smaller than 2 GiB (a broken contract otherwise), as one gzip member.
// Any thread. Throws std::runtime_error if zlib fails.
std::string gzip(std::string_view bytes);

}  // namespace veltra::host
