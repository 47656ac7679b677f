#include "host/database/text_lint.h"

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "base/uuid.h"
#include "diagnosis/decoder_configuration.h"
#include "host/database/trace_rules_lint.h"
#include "implementation/json_values.h"
#include "plugin/limits.h"
#include "plugin/trace_db.h"

namespace veltra::host {

namespace {

using kovax::json;

class text_lint {
 public:
  linted_text run(const json& root) && {
    if (!root.is_object()) {
      add(severity::fatal, "", fmt::format("is {}, and an object is needed", type_of(root)));
      return std::move(result_);
    }
    const json* const meta = need(root, "", "meta", json::value_t::object, severity::fatal);
    if (meta == nullptr) return std::move(result_);
    check_identity(*meta);
    check_decoder(*meta);
    check_descriptors(*meta);
    check_tables(root);
    check_trace_rules(root, id_size_, result_.findings);
    return std::move(result_);
  }

 private:
  static std::string type_of(const json& value) {
    return value.is_null() ? "null" : fmt::format("of type {}", value.type_name());
  }

  static const char* name_of(json::value_t type) {
    switch (type) {
      case json::value_t::object:
        return "an object";
      case json::value_t::array:
        return "an array";
      case json::value_t::string:
        return "a string";
      default:
        return "a number";
    }
  }

  static bool is_of(const json& value, json::value_t type) {
    if (type != json::value_t::number_unsigned) return value.type() == type;
    return value.is_number() || value.is_boolean();
  }

  void add(severity severity, std::string path, std::string text) {
    result_.findings.push_back({severity, {}, std::move(path), std::move(text)});
  }

  // The member if it is there and of the type; otherwise a finding and null.
  const json* need(const json& object, const std::string& path, const char* key, json::value_t type,
                   severity if_missing) {
    if (!object.is_object()) {
      add(severity::fatal, path, fmt::format("is {}, and an object is needed", type_of(object)));
      return nullptr;
    }
    if (!object.contains(key)) {
      add(if_missing, path + "/" + key, "is missing");
      return nullptr;
    }
    return have(object, path, key, type);
  }

  // The same for a member that may be missing.
  const json* have(const json& object, const std::string& path, const char* key,
                   json::value_t type) {
    if (!object.is_object() || !object.contains(key)) return nullptr;
    const json& value = object.at(key);
    const std::string place = path + "/" + key;
    if (!is_of(value, type)) {
      add(severity::fatal, place,
          fmt::format("is {}, and {} is needed", type_of(value), name_of(type)));
      return nullptr;
    }
    if (type == json::value_t::number_unsigned) check_number(value, place);
    return &value;
  }

  std::optional<std::uint32_t> id_of(const json& element, const std::string& path,
                                     const char* key = "id") {
    const json* const id =
        need(element, path, key, json::value_t::number_unsigned, severity::fatal);
    return id != nullptr ? std::optional(kovax::to_u32(*id)) : std::nullopt;
  }

  void check_number(const json& value, const std::string& path) {
    const std::uint32_t taken = kovax::to_u32(value);
    if (value.is_number_unsigned() && value.get<std::uint64_t>() == taken) return;
    if (value.is_number_float() && value.get<double>() == taken) return;
    add(severity::warning, path, fmt::format("is {}, which counts as {}", value.dump(), taken));
  }

  using visitor = std::function<void(const json& element, const std::string& path)>;

  // Calls `visit` with each element of a list that may be missing. `skips_values`: what is
  // not a list at all is passed over by the plug-in, too, and not refused.
  void each_of(const json& object, const std::string& path, const char* key, const visitor& visit,
               bool skips_values = false) {
    if (!object.is_object() || !object.contains(key)) return;
    const json& list = object.at(key);
    const std::string place = path + "/" + key;
    if (list.is_array() || list.is_object()) {
      if (!list.is_array()) add(severity::warning, place, "is of type object, not an array");
      for (const auto& item : list.items()) visit(item.value(), place + "/" + item.key());
    } else {
      add(list.is_null() || skips_values ? severity::warning : severity::fatal, place,
          fmt::format("is {}, and an array is needed", type_of(list)));
    }
  }

  void check_identity(const json& meta) {
    if (const auto id = id_of(meta, "/meta")) result_.master_ids.insert(*id);
    if (const json* order =
            need(meta, "/meta", "endianness", json::value_t::string, severity::fatal);
        order != nullptr && *order != "big" && *order != "little") {
      add(severity::warning, "/meta/endianness",
          fmt::format("is {}, which counts as \"little\"", order->dump(-1, ' ', true)));
    }
    if (const auto size = id_of(meta, "/meta", "trace_id_size")) {
      id_size_ = *size;
      if (*size > max_trace_id_size) {
        add(severity::fatal, "/meta/trace_id_size",
            fmt::format("is {}, and at most {} bytes are read", *size, max_trace_id_size));
      }
    }
    const json* const uuid = have(meta, "/meta", "uuid", json::value_t::string);
    if (uuid != nullptr) result_.uuid = uuid->get<std::string>();
    if (!meta.contains("uuid")) {
      add(severity::warning, "/meta/uuid", "is missing; no stream can name this database");
    } else if (uuid != nullptr && !is_uuid(result_.uuid)) {
      add(severity::warning, "/meta/uuid", "is not a UUID; no stream can name this database");
    }
    const json* const name = have(meta, "/meta", "name", json::value_t::string);
    result_.name = name != nullptr ? name->get<std::string>() : "MCU";
    have(meta, "/meta", "min_data_size", json::value_t::number_unsigned);
    each_of(meta, "/meta", "aliases", [this](const json& alias, const std::string& path) {
      if (const auto id = id_of(alias, path)) result_.master_ids.insert(*id);
    });
    if (!meta.contains("type_mapping") || meta.at("type_mapping") != "id") {
      add(severity::warning, "/meta/type_mapping",
          "is not \"id\"; only user plane and TLS traces become packets");
    }
  }

  void check_decoder(const json& meta) {
    const json* older = nullptr;
    const json* newer = nullptr;
    std::string path = "/meta/decoder_config";
    if (meta.contains("decoder_config")) older = &meta.at("decoder_config");
    if (meta.contains("connection_configs")) {
      const json& configs = meta.at("connection_configs");
      if (!configs.is_object()) {
        add(severity::warning, "/meta/connection_configs",
            fmt::format("is {}, which counts as missing", type_of(configs)));
      } else if (configs.contains("dekodrix_config")) {
        newer = &configs.at("dekodrix_config");
      }
    }
    result_.has_decoder_config = older != nullptr || newer != nullptr;
    if (older != nullptr && newer != nullptr) {
      add(severity::warning, path,
          "the masters are read from here and the rest from connection_configs/dekodrix_config");
    }
    if (older == nullptr) path = "/meta/connection_configs/dekodrix_config";
    const json* const config = older != nullptr ? older : newer;
    if (config == nullptr || config->is_null()) return;
    if (!config->is_object()) {
      add(severity::fatal, path, fmt::format("is {}, and an object is needed", type_of(*config)));
      return;
    }
    if (diagnosis::is_refused_configuration(*config)) {
      add(severity::fault, path, "is not a configuration that the open decoder takes");
    }
    each_of(*config, path, "masters", [&](const json& master, const std::string& place) {
      const auto id = id_of(master, place);
      if (!id || result_.master_ids.empty() || !master_is_own(meta, *id)) return;
      const json* aliases = need(master, place, "aliases", json::value_t::array, severity::fatal);
      if (aliases == nullptr) return;
      for (std::size_t i = 0; i < aliases->size(); ++i) check_alias((*aliases)[i], place, i);
    });
  }

  static bool master_is_own(const json& meta, std::uint32_t id) {
    const json& own = kovax::member(meta, "id");
    return is_of(own, json::value_t::number_unsigned) && kovax::to_u32(own) == id;
  }

  void check_alias(const json& alias, const std::string& place, std::size_t position) {
    const std::string path = fmt::format("{}/aliases/{}", place, position);
    if (!is_of(alias, json::value_t::number_unsigned)) {
      add(severity::fatal, path, fmt::format("is {}, and a number is needed", type_of(alias)));
      return;
    }
    check_number(alias, path);
    result_.master_ids.insert(kovax::to_u32(alias));
  }

  void check_descriptors(const json& meta) {
    const json* const list =
        need(meta, "/meta", "trace_type_descriptors", json::value_t::array, severity::fatal);
    if (list == nullptr) return;
    for (std::size_t i = 0; i < list->size(); ++i) {
      const json& element = (*list)[i];
      const std::string path = fmt::format("/meta/trace_type_descriptors/{}", i);
      if (!element.is_object() || !element.contains("conditions")) {
        add(severity::fatal, path + "/conditions", "is missing");
        continue;
      }
      bool has_condition = false;
      const auto check = [&](const json& condition, const std::string& place) {
        has_condition = check_condition(condition, place) || has_condition;
      };
      each_of(element, path, "conditions", check, true);
      if (has_condition) need(element, path, "type", json::value_t::string, severity::fatal);
    }
  }

  bool check_condition(const json& condition, const std::string& path) {
    const bool has_id = condition.is_object() && condition.contains("trace_id");
    const bool has_range = condition.is_object() && condition.contains("id_range");
    if (!has_id && !has_range) {
      add(severity::warning, path, "has neither a trace_id nor an id_range and is skipped");
      return false;
    }
    if (has_id && has_range) {
      add(severity::warning, path + "/id_range", "is not read beside a trace_id");
    }
    if (has_id) {
      if (const auto id = id_of(condition, path, "trace_id")) {
        check_id_fits(*id, path + "/trace_id");
      }
      return true;
    }
    const json& range = condition.at("id_range");
    const std::string place = path + "/id_range";
    const auto min = id_of(range, place, "min");
    const auto max = id_of(range, place, "max");
    if (min && max && *min > *max) {
      add(severity::warning, place,
          fmt::format("is upside down: the minimum {} is above the maximum {}", *min, *max));
    } else if (min) {
      check_id_fits(*min, place + "/min");
    }
    return true;
  }

  void check_id_fits(std::uint32_t id, const std::string& path) {
    if (fits_trace_id(id, id_size_)) return;
    add(severity::warning, path,
        fmt::format("is {}, which a trace id of {} byte{} cannot be", id, id_size_,
                    id_size_ == 1 ? "" : "s"));
  }

  // Reports an id that was there before.
  void check_unique(std::map<std::uint32_t, std::string>& seen, std::uint32_t id,
                    const std::string& path, const char* which_counts) {
    const auto [before, is_new] = seen.try_emplace(id, path);
    if (is_new) return;
    add(severity::warning, path + "/id",
        fmt::format("is {} as in {}; {} counts", id, before->second, which_counts));
  }

  void check_named(const json& root, const char* key, const char* text_key, const char* parent,
                   const char* which_counts, bool may_lack_id) {
    std::map<std::uint32_t, std::string> seen;
    const auto check = [&](const json& element, const std::string& path) {
      if (may_lack_id && (!element.is_object() || !element.contains("id"))) {
        add(severity::warning, path, "has no id and is skipped");
        return;
      }
      if (const auto id = id_of(element, path)) check_unique(seen, *id, path, which_counts);
      if (element.is_object() && text_key != nullptr) {
        need(element, path, text_key, json::value_t::string, severity::fatal);
      }
    };
    each_of(root, parent, key, check, may_lack_id);
  }

  void check_tables(const json& root) {
    check_named(root, "buffers", "name", "", "the last one", false);
    check_named(root, "peer_buffer_layers", "name", "", "the last one", true);
    check_named(root, "traces", nullptr, "", "the first one", false);
    if (root.contains("static_data") && root.at("static_data").is_object()) {
      check_named(root.at("static_data"), "static_strings", "value", "/static_data",
                  "the first one", false);
    } else if (root.contains("static_data")) {
      add(severity::warning, "/static_data",
          fmt::format("is {}, which counts as missing", type_of(root.at("static_data"))));
    }
    have(root, "", "peer_buffers", json::value_t::array);
  }

  linted_text result_;
  std::uint32_t id_size_ = max_trace_id_size;
};

}  // namespace

linted_text lint_database_text(std::string_view text) {
  linted_text failed;
  if (kovax::nested_deeper_than(text, max_nesting)) {
    failed.findings.push_back(
        {severity::fatal, {}, {}, fmt::format("is nested in more than {} levels", max_nesting)});
    return failed;
  }
  try {
    return text_lint().run(json::parse(text));
  } catch (const json::parse_error& error) {
    // "[json.exception.parse_error.101] parse error at line 1, column 1: ..."
    const std::string_view reason = error.what();
    const std::size_t end_of_name = reason.find("] ");
    failed.findings.push_back(
        {severity::fatal,
         {},
         {},
         fmt::format("is not JSON: {}",
                     reason.substr(end_of_name == std::string_view::npos ? 0 : end_of_name + 2))});
    return failed;
  }
}

}  // namespace veltra::host
