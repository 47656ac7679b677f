#include "plugin/database_document.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "implementation/json_values.h"
#include "plugin/limits.h"

namespace veltra {

namespace {

using kovax::json;

// Places in a text have 32 bits.
static_assert(max_database_text_bytes <= UINT32_MAX);

// Walks through a text and leaves its position in a variable of the caller's: the parser keeps
// copies of its iterators to itself.
class observed_iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  explicit observed_iterator(const char*& position) : position_(&position) {}

  reference operator*() const { return **position_; }
  observed_iterator& operator++() {
    ++*position_;
    return *this;
  }
  bool operator==(const observed_iterator& other) const { return *position_ == *other.position_; }

 private:
  const char** position_;
};

// Builds the document out of the parser's events and finds the definitions in it.
class database_builder {
 public:
  // `position` is the parser's: behind the token of an event that begins or ends an object.
  database_builder(json& root, std::vector<trace_definitions::place>& definitions, const char* text,
                   const char*& position)
      : document_(root), definitions_(definitions), text_(text), position_(position) {}

  bool null() { return levels_of_definition_ > 0 || document_.null(); }
  bool boolean(bool value) {
    return levels_of_definition_ > 0 ? take_id(value) : document_.boolean(value);
  }
  bool number_integer(json::number_integer_t value) {
    return levels_of_definition_ > 0 ? take_id(value) : document_.number_integer(value);
  }
  bool number_unsigned(json::number_unsigned_t value) {
    return levels_of_definition_ > 0 ? take_id(value) : document_.number_unsigned(value);
  }
  bool number_float(json::number_float_t value, const std::string& text) {
    return levels_of_definition_ > 0 ? take_id(value) : document_.number_float(value, text);
  }
  bool string(std::string& value) { return levels_of_definition_ > 0 || document_.string(value); }
  bool binary(json::binary_t& value) {
    return levels_of_definition_ > 0 || document_.binary(value);
  }

  bool start_object(std::size_t size) {
    if (levels_of_definition_ > 0) return enter_definition();
    if (is_in_traces_ && levels_ == levels_of_traces) {
      begin_ = offset() - 1;
      id_.reset();
      return enter_definition();
    }
    ++levels_;
    return document_.start_object(size);
  }

  bool key(std::string& name) {
    if (levels_of_definition_ > 0) {
      if (levels_of_definition_ == 1) {
        is_id_ = name == "id";
        if (is_id_) id_.reset();  // of two members of one name, the second one counts
      }
      return true;
    }
    if (levels_ == 1) {
      is_traces_ = name == "traces";
      if (is_traces_) definitions_.clear();  // likewise
    }
    return document_.key(name);
  }

  bool end_object() {
    if (levels_of_definition_ == 0) return leave() && document_.end_object();
    if (--levels_of_definition_ == 0) keep_definition();
    return true;
  }

  bool start_array(std::size_t size) {
    if (levels_of_definition_ > 0) return enter_definition();
    if (levels_ == 1 && is_traces_) is_in_traces_ = true;
    ++levels_;
    return document_.start_array(size);
  }

  bool end_array() {
    if (levels_of_definition_ == 0) return leave() && document_.end_array();
    --levels_of_definition_;
    return true;
  }

  template <typename Error>
  [[noreturn]] bool parse_error(std::size_t position, const std::string& token,
                                const Error& error) {
    document_.parse_error(position, token, error);
  }

 private:
  // The root and the array.
  static constexpr std::size_t levels_of_traces = 2;

  std::uint32_t offset() const { return static_cast<std::uint32_t>(position_ - text_); }

  bool enter_definition() {
    ++levels_of_definition_;
    return true;
  }

  bool leave() {
    if (--levels_ == 1) is_in_traces_ = false;
    return true;
  }

  template <typename Number>
  bool take_id(Number value) {
    if (levels_of_definition_ == 1 && is_id_) id_ = kovax::to_u32(value);
    return true;
  }

  void keep_definition() {
    if (id_) {
      definitions_.push_back({*id_, begin_, offset()});
      return;
    }
    kovax::json_document other(std::string_view(text_ + begin_, offset() - begin_));
    // In two steps: if memory runs out between them, the library must not destroy the value.
    json& place = document_.place();
    place = std::move(other.root());
  }

  kovax::json_builder document_;
  std::vector<trace_definitions::place>& definitions_;
  const char* const text_;
  const char*& position_;

  std::size_t levels_ = 0;  // arrays and objects of the document that are open
  bool is_traces_ = false;  // the root's latest member
  bool is_in_traces_ = false;

  std::size_t levels_of_definition_ = 0;  // that are open, and belong to a definition
  std::uint32_t begin_ = 0;               // of the definition
  std::optional<std::uint32_t> id_;       // if it is numeric
  bool is_id_ = false;                    // the definition's latest member
};

}  // namespace

database_document::database_document(std::string text) {
  std::vector<trace_definitions::place> places;
  const char* position = text.data();
  const char* end = position + text.size();
  database_builder events(document_.root(), places, text.data(), position);
  json::sax_parse(observed_iterator(position), observed_iterator(end), &events);
  definitions_ = trace_definitions(std::move(text), std::move(places));
}

}  // namespace veltra
