// packet_delivery.h - the last step of every packet: metadata, number, callback.
#pragma once

#include <kovax/source.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace veltra {

// Where the packets of one run go. The callback may be null: packets are then
// counted and dropped.
struct packet_receiver {
  kovax_source* source;
  void* user_data;
  kovax_packet_callback callback;
};

// Numbers the packets of an instance, over all its runs, and writes their
// metadata. One thread. What the callback throws goes to the caller.
class packet_delivery {
 public:
  // The size of the trace file, reported with every packet; never
  // called without a file.
  void set_data_size(std::uint64_t bytes);

  // The database that packets name from now on; both empty at first.
  void set_database(std::string path, std::string uuid);

  // Counts the chunk's bytes as taken from the input and delivers them unchanged. An
  // empty chunk makes no packet; one of 4 GiB or more, which a search can collect, makes
  // several, for a packet's size has 32 bits. Throws the JSON library's type error 316
  // when the metadata is not UTF-8.
  void deliver_raw(const packet_receiver& to, std::string_view chunk);

  // Sets the metadata and the number of a converted packet and delivers it. Throws as above.
  void deliver_decoded(const packet_receiver& to, kovax_stream_packet_t& packet);

 private:
  void deliver(const packet_receiver& to, kovax_stream_packet_t& packet);
  const char* metadata();

  std::uint64_t packet_counter_ = 0;
  std::uint64_t data_offset_ = 0;
  std::optional<std::uint64_t> data_size_;
  std::string database_path_;
  std::string database_uuid_;

  // The text is made again only when something in it has changed, and of it
  // only the offset while the rest stays.
  std::string metadata_;
  std::string constant_members_;  // all behind the offset; empty: to be made
  std::uint64_t metadata_offset_ = 0;
};

}  // namespace veltra
