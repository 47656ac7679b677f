// layer_map.h - values by the name of a layer.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace veltra::host {

// A run has a dozen layers and asks for one with each packet, so that a search through a
// tree of names is felt. One thread.
template <typename Value>
class layer_map {
 public:
  using values = std::map<std::string, Value, std::less<>>;

  layer_map() = default;
  layer_map(const layer_map& other) : values_(other.values_) {}
  layer_map& operator=(const layer_map& other) {
    values_ = other.values_;
    found_.fill(nullptr);
    return *this;
  }

  // Null if there is none; valid for as long as the object.
  Value* find(std::string_view layer) {
    auto*& found = found_[place_of(layer)];
    if (found == nullptr ||
        !std::equal(layer.begin(), layer.end(), found->first.begin(), found->first.end())) {
      const auto known = values_.find(layer);
      if (known == values_.end()) return nullptr;
      found = &*known;
    }
    return &found->second;
  }

  // The layer must be new.
  Value& add(std::string_view layer, Value value) {
    return values_.emplace(layer, std::move(value)).first->second;
  }

  const values& all() const { return values_; }

 private:
  static constexpr std::size_t places = 64;

  // Names such as "lte_rrc.dl_dcch" differ in their length or in these letters.
  static std::size_t place_of(std::string_view layer) {
    constexpr std::size_t channel = 7;  // letters at the end
    if (layer.size() < channel) return layer.size();
    const auto letter = [layer](std::size_t from_end) {
      return static_cast<std::size_t>(layer[layer.size() - from_end]);
    };
    return (layer.size() + 5 * letter(channel) + 3 * letter(4)) % places;
  }

  values values_;
  std::array<typename values::value_type*, places> found_{};  // of `values_`
};

}  // namespace veltra::host
