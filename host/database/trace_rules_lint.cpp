#include "host/database/trace_rules_lint.h"

#include <fmt/format.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "implementation/json_values.h"

namespace veltra::host {

namespace {

using kovax::json;

bool has_number(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && (found->is_number() || found->is_boolean());
}

// Counts elements that share a remark.
struct shared_remark {
  std::size_t count = 0;
  std::string first;

  void take(const std::string& path) {
    if (count++ == 0) first = path;
  }
};

class trace_rules {
 public:
  trace_rules(const json& root, std::uint32_t id_size, std::vector<finding>& findings)
      : root_(root), id_size_(id_size), findings_(findings) {
    collect_ids("peer_buffer_layers", root, layers_);
    if (root.contains("static_data")) {
      collect_ids("static_strings", root.at("static_data"), strings_);
    }
  }

  void check_peer_buffers() {
    const auto list = root_.find("peer_buffers");
    if (list == root_.end() || !list->is_array()) return;
    shared_remark unread;
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::string> seen;
    for (std::size_t i = 0; i < list->size(); ++i) {
      const std::string path = fmt::format("/peer_buffers/{}", i);
      const json& element = (*list)[i];
      if (!element.is_object() || !element.contains("id") || !element.contains("layer")) {
        add(severity::warning, path, "has no id or no layer and is skipped");
        continue;
      }
      if (!need_number(element, path, "id") | !need_number(element, path, "layer")) continue;
      check_place(element, path, seen);
      check_message_type(element, path, unread);
    }
    add_shared(unread, "no rule reads this type");
  }

  void check_traces() {
    const auto list = root_.find("traces");
    if (list == root_.end() || !(list->is_array() || list->is_object())) return;
    shared_remark unread, unfit;
    for (const auto& item : list->items()) {
      const json& trace = item.value();
      if (!trace.is_object()) continue;
      const std::string path = "/traces/" + item.key();
      if (has_number(trace, "id") && !fits_trace_id(kovax::to_u32(trace.at("id")), id_size_)) {
        unfit.take(path + "/id");
      }
      check_format(trace, path, unread);
    }
    add_shared(unfit, fmt::format("does not fit into a trace id of {} byte{}", id_size_,
                                  id_size_ == 1 ? "" : "s")
                          .c_str());
    add_shared(unread, "no rule reads this format");
  }

 private:
  static void collect_ids(const char* key, const json& object, std::set<std::uint32_t>& ids) {
    if (!object.is_object() || !object.contains(key)) return;
    for (const json& element : object.at(key)) {
      if (element.is_object() && has_number(element, "id")) {
        ids.insert(kovax::to_u32(element.at("id")));
      }
    }
  }

  void add(severity severity, std::string path, std::string text) {
    findings_.push_back({severity, {}, std::move(path), std::move(text)});
  }

  void add_shared(const shared_remark& remark, const char* what) {
    if (remark.count == 0) return;
    add(severity::warning, remark.first,
        remark.count == 1 ? std::string(what)
                          : fmt::format("{} (the first of {})", what, remark.count));
  }

  bool need_number(const json& element, const std::string& path, const char* key) {
    if (has_number(element, key)) return true;
    add(severity::fault, path + "/" + key,
        element.contains(key) ? "is not a number; a trace that needs it ends the run"
                              : "is missing; a trace that needs it ends the run");
    return false;
  }

  // False if the text is there and is not one.
  bool text_of(const json& element, const std::string& path, const char* key,
               std::string_view& text) {
    const auto found = element.find(key);
    if (found == element.end()) return false;
    if (found->is_string()) {
      text = found->get_ref<const std::string&>();
      return true;
    }
    add(severity::fault, path + "/" + key, "is not a string; a trace that needs it ends the run");
    return false;
  }

  void check_place(const json& element, const std::string& path,
                   std::map<std::pair<std::uint32_t, std::uint32_t>, std::string>& seen) {
    const std::uint32_t id = kovax::to_u32(element.at("id"));
    const std::uint32_t layer = kovax::to_u32(element.at("layer"));
    if (!layers_.contains(layer)) {
      add(severity::warning, path + "/layer",
          fmt::format("is {}, which is not in /peer_buffer_layers; no trace is read with it",
                      layer));
    }
    const auto [before, is_new] = seen.try_emplace({id, layer}, path);
    if (is_new) return;
    add(severity::warning, path,
        fmt::format("has the id {} and the layer {} as {} has; the first one counts", id, layer,
                    before->second));
  }

  void check_message_type(const json& element, const std::string& path, shared_remark& unread) {
    if (!element.contains("name") || !element.contains("type")) {
      add(severity::warning, path, "has no name or no type and gives no packet");
      return;
    }
    std::string_view type;
    if (!text_of(element, path, "type", type) || type.starts_with("NAS_PDU")) return;
    constexpr std::string_view rrc = "ASN_";
    const std::string_view channel = type.starts_with(rrc) ? type.substr(rrc.size()) : "";
    const std::size_t first = channel.find_first_not_of('_');
    const std::size_t next = first == std::string_view::npos ? first : channel.find('_', first);
    const bool has_two =
        next != std::string_view::npos && channel.find_first_not_of('_', next) != channel.npos;
    if (!has_two) unread.take(path + "/type");
  }

  void check_format(const json& trace, const std::string& path, shared_remark& unread) {
    if (!trace.contains("format") || !trace.contains("format_items")) return;
    std::string_view format;
    if (!text_of(trace, path, "format", format)) return;
    const json& items = trace.at("format_items");
    const std::string place = path + "/format_items";
    if (format.find("AT_STRING") != format.npos || format.find("AT_DEBUG_STRING") != format.npos) {
      return check_references(items, place);
    }
    if (format.starts_with("UID %s")) return;  // read by the search for the database
    if (!format.starts_with("Traces dropped kernel: %hu user: %hu")) return unread.take(path);
    if (!trace.contains("label") || trace.at("label") != "TRACE_SYSTEM_WARNING") {
      return add(severity::warning, path + "/label",
                 "is not \"TRACE_SYSTEM_WARNING\"; dropped traces are not reported");
    }
    if (!items.is_array() || items.size() <= 2) {
      return add(severity::warning, place, "are not three items; dropped traces are not reported");
    }
    check_counters(items, place);
  }

  void check_references(const json& items, const std::string& path) {
    if (!items.is_array() && !items.is_object()) return;
    for (const auto& item : items.items()) {
      const json& value = item.value();
      if (!value.is_object() || !value.contains("reference")) continue;
      const std::string place = path + "/" + item.key();
      if (!need_number(value, place, "reference")) return;
      const std::uint32_t id = kovax::to_u32(value.at("reference"));
      if (!strings_.contains(id)) {
        add(severity::warning, place + "/reference",
            fmt::format("is {}, which is not in /static_data/static_strings", id));
      }
      return;  // the first one counts
    }
  }

  void check_counters(const json& items, const std::string& path) {
    constexpr std::size_t items_read = 3;
    constexpr std::uint32_t max_counter_size = 4;
    for (std::size_t i = 0; i < items_read; ++i) {
      const std::string place = fmt::format("{}/{}", path, i);
      if (!items[i].is_object()) {
        add(severity::fault, place, "is not an object; a trace that needs it ends the run");
      } else if (need_number(items[i], place, "size") && i > 0 &&
                 kovax::to_u32(items[i].at("size")) > max_counter_size) {
        add(severity::fatal, place + "/size",
            fmt::format("is above {}; a trace that needs it stops the process", max_counter_size));
      }
    }
  }

  const json& root_;
  const std::uint32_t id_size_;
  std::vector<finding>& findings_;
  std::set<std::uint32_t> layers_;
  std::set<std::uint32_t> strings_;
};

}  // namespace

bool fits_trace_id(std::uint32_t id, std::uint32_t size) {
  constexpr std::uint32_t whole = 4;
  constexpr std::uint32_t bits_of_byte = 8;
  return size >= whole || id >> (size * bits_of_byte) == 0;
}

void check_trace_rules(const json& root, std::uint32_t trace_id_size,
                       std::vector<finding>& findings) {
  trace_rules rules(root, trace_id_size, findings);
  rules.check_peer_buffers();
  rules.check_traces();
}

}  // namespace veltra::host
