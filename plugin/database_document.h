// database_document.h - a trace database's text, parsed except for the definitions in "traces".
#pragma once

#include <string>

#include "implementation/json.h"
#include "implementation/json_document.h"
#include "plugin/trace_definitions.h"

namespace veltra {

// The document that json::parse makes of a text, in two parts. One thread at a time.
class database_document {
 public:
  // Parses all of `text`, which has less than 4 GiB. Throws what json::parse throws, with the
  // same texts, and std::bad_alloc.
  explicit database_document(std::string text);

  // The document; but if the root's "traces" is an array, it has none of its elements that are
  // objects with a numeric "id", while the others are there in their order.
  kovax::json& root() { return document_.root(); }

  // Those elements. Gives them away.
  trace_definitions take_definitions() { return std::move(definitions_); }

 private:
  kovax::json_document document_;
  trace_definitions definitions_;
};

}  // namespace veltra
