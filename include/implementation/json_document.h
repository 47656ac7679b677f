// json_document.h - JSON from outside, in memory that may run out.
//
// The JSON library's destructor of an array or object that is not empty allocates, and
// ends the process when it cannot. What is kept here is taken apart before the library
// destroys it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "implementation/json.h"

namespace kovax {

namespace detail {

inline bool has_elements(const json& value) {
  return value.is_structured() && !value.empty();
}

// The first element of `container`, in whose place `replacement` is.
inline json exchange_first(json& container, json replacement) {
  return std::exchange(*container.begin(), std::move(replacement));
}

inline json take_last(json& container) {
  if (container.is_array()) {
    json last = std::move(container.get_ref<json::array_t&>().back());
    container.get_ref<json::array_t&>().pop_back();
    return last;
  }
  auto& object = container.get_ref<json::object_t&>();
  const auto position = std::prev(object.end());
  json last = std::move(position->second);
  object.erase(position);
  return last;
}

}  // namespace detail

// Makes `value` null without allocating and without recursion, in the time that its
// destruction takes. Throws nothing. Any thread.
inline void dismantle(json& value) noexcept {
  using namespace detail;
  json pending = std::exchange(value, nullptr);
  json current;  // a container, whose first element is its parent; null above the root
  for (;;) {
    if (has_elements(pending)) {  // down
      json first = exchange_first(pending, std::move(current));
      current = std::move(pending);
      pending = std::move(first);
    } else if (current.is_null()) {
      return;
    } else if (current.size() > 1) {
      pending = take_last(current);
    } else {  // up
      json parent = take_last(current);
      current = std::move(parent);
      pending = nullptr;
    }
  }
}

// Builds a value in place out of the events of the library's SAX parser: when memory runs out
// within it, the part that is built belongs to `root`, which the caller dismantles. Gives what
// json::parse gives, and throws its errors. One thread at a time.
class json_builder {
 public:
  explicit json_builder(json& root) : root_(root) {}

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(json::number_integer_t value) { return add(value); }
  bool number_unsigned(json::number_unsigned_t value) { return add(value); }
  bool number_float(json::number_float_t value, const std::string& /*text*/) { return add(value); }
  bool string(std::string& value) { return add(std::move(value)); }
  bool binary(json::binary_t& value) { return add(std::move(value)); }

  bool start_object(std::size_t /*size*/) { return open(json::value_t::object); }
  bool key(std::string& name) {
    member_ = &containers_.back()->get_ref<json::object_t&>()[std::move(name)];
    dismantle(*member_);  // of two members of one name, the second one counts
    return true;
  }
  bool end_object() { return close(); }
  bool start_array(std::size_t /*size*/) { return open(json::value_t::array); }
  bool end_array() { return close(); }

  template <typename Error>
  [[noreturn]] bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                                const Error& error) {
    throw error;
  }

  // Where the next value goes.
  json& place() {
    if (containers_.empty()) return root_;
    json& container = *containers_.back();
    return container.is_object() ? *member_
                                 : container.get_ref<json::array_t&>().emplace_back(nullptr);
  }

 private:
  template <typename Value>
  bool add(Value&& value) {
    place() = std::forward<Value>(value);
    return true;
  }

  bool open(json::value_t type) {
    json& container = place();
    container = type;
    containers_.push_back(&container);
    return true;
  }

  bool close() {
    containers_.pop_back();
    return true;
  }

  json& root_;
  std::vector<json*> containers_;  // that are open, the innermost last
  json* member_ = nullptr;         // of the innermost object, named by the latest key
};

// A parsed JSON text (RFC 8259). One thread at a time.
class json_document {
 public:
  json_document() = default;  // null
  // Throws what json::parse throws, with the same texts.
  explicit json_document(std::string_view text) {
    try {
      json_builder events(root_);
      json::sax_parse(text, &events);
    } catch (...) {
      dismantle(root_);
      throw;
    }
  }
  json_document(const json_document&) = delete;
  json_document& operator=(const json_document&) = delete;
  ~json_document() { dismantle(root_); }

  json& root() { return root_; }
  const json& root() const { return root_; }

 private:
  json root_;
};

}  // namespace kovax
