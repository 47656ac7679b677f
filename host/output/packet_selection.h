// packet_selection.h - which packets an output contains.
#pragma once

#include <bitset>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/output/dissector_names.h"

namespace veltra::host {

inline constexpr std::size_t packet_kind_count = 6;

// By their interfaces in a capture; everything but raw packets, unless it is changed.
struct packet_selection {
  std::bitset<packet_kind_count> kinds = bit(packet_kind::raw) - 1;
  bool with_secrets = true;

  static constexpr unsigned long bit(packet_kind kind) {
    return 1UL << static_cast<unsigned>(kind);
  }

  bool has(packet_kind kind) const { return kinds[static_cast<std::size_t>(kind)]; }
  void add(packet_kind kind) { kinds.set(static_cast<std::size_t>(kind)); }
  // Whether TLS key material is wanted, which decrypts IP packets and nothing else.
  bool has_secrets() const { return with_secrets && has(packet_kind::ip); }

  // Whether packets of a trace's layer are wanted.
  bool has_layer(std::string_view layer) const;

  bool operator==(const packet_selection&) const = default;
};

// The layers of TLS key material.
inline constexpr std::string_view randbytes_layer = "handshake_randbytes";
inline constexpr std::string_view master_layer = "session_master";

inline bool is_key_material(std::string_view layer) {
  return layer == randbytes_layer || layer == master_layer;
}

// Which packets of JSON Lines have their metadata.
enum class metadata_use {
  each,
  once,  // the first, and each after which something else than the offset has changed
  none
};

// The names of the interfaces, in the order of packet_kind.
const std::vector<std::string>& kind_names();

// The kind of an interface's name.
std::optional<packet_kind> kind_named(std::string_view name);

// As on the command line, such as "nas,rrc".
std::string describe_kinds(const packet_selection& selection);

}  // namespace veltra::host
