// trace_definitions.h - what a trace database says about single traces, by trace id.
//
// Nearly all of a database are these definitions, of which a run uses few. So they stay text,
// in a tenth of the memory and the time, and each is parsed when it is looked up first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "implementation/json.h"

namespace veltra {

// One thread at a time, even for look-ups.
class trace_definitions {
 public:
  // A definition in a text: a JSON object, from its first byte to the one behind it.
  struct place {
    std::uint32_t id;
    std::uint32_t begin;
    std::uint32_t end;
  };

  trace_definitions() = default;
  // `places` lie in `text`, in any order; of those with one id the first in the text counts.
  trace_definitions(std::string text, std::vector<place> places);
  trace_definitions(trace_definitions&&) = default;
  trace_definitions& operator=(trace_definitions&&) = default;
  ~trace_definitions();

  // Moves in a definition that is parsed already, unless there is one of this id. Without
  // memory for it, throws std::bad_alloc and leaves `definition` as it is.
  void add(std::uint32_t id, kovax::json& definition);

  // The definition, or null if there is none; valid as long as this object is. Without memory
  // to parse it, throws std::bad_alloc.
  const kovax::json* find(std::uint32_t id);

  std::size_t size() const { return places_.size() + added_; }

 private:
  std::string text_;
  std::vector<place> places_;  // by id, one for each
  std::unordered_map<std::uint32_t, kovax::json> parsed_;
  std::size_t added_ = 0;  // of parsed_, without a place
};

}  // namespace veltra
