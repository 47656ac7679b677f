// ustar_writer.h - an archive in the ustar format, IEEE Std 1003.1 "pax".
#pragma once

#include <string>
#include <string_view>

namespace veltra::host {

// Returns an archive that holds one regular file. It carries no time and no
// owner, so that equal content gives equal bytes. `name` is shorter than 100
// characters and `content` smaller than 2 GiB, which every reader of such
// archives takes (broken contracts otherwise). Any thread.
std::string ustar_archive(std::string_view name, std::string_view content);

}  // namespace veltra::host
