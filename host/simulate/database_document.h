// database_document.h - the trace database that describes the virtual modem.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/simulate/peer_buffer_table.h"

namespace veltra::host {

// A trace database as its file contains it.
struct database_document {
  std::string uuid;
  std::string text;  // JSON, UTF-8
};

// Describes a modem with these peer buffers. Without a `uuid` it gets one that
// follows from the description. Depends on its arguments only. Any thread.
database_document make_database_document(const std::vector<peer_buffer>& peer_buffers,
                                         const std::optional<std::string>& uuid);

// Returns the bytes of an archive that contains the document: gzip over ustar.
std::string archive_database(const database_document& document);

}  // namespace veltra::host
