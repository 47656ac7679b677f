#include "host/run/sidecar.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

#include "base/atomic_file.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr const char* format_name = "veltra-trace";
constexpr int version = 1;
// Room for some ten thousand restarts; a larger file is something else.
constexpr std::size_t max_size = std::size_t{1} << 20;

kovax::json to_json(const clock_anchor& anchor) {
  kovax::json json = {{"time_base", format_utc(anchor.utc)}, {"offset", anchor.raw_offset}};
  if (anchor.modem_time) json["modem_time"] = *anchor.modem_time;
  return json;
}

std::optional<std::uint64_t> number_in(const kovax::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_number_unsigned()) return std::nullopt;
  return found->get<std::uint64_t>();
}

std::optional<clock_anchor> to_anchor(const kovax::json& json) {
  if (!json.is_object() || !json.contains("time_base")) return std::nullopt;
  const kovax::json& text = json.at("time_base");
  const auto utc = text.is_string() ? parse_utc(text.get_ref<const std::string&>()) : std::nullopt;
  if (!utc) return std::nullopt;
  const auto modem_time = number_in(json, "modem_time");
  if (json.contains("modem_time") && !modem_time) return std::nullopt;
  return clock_anchor{*utc, modem_time, number_in(json, "offset").value_or(0)};
}

std::optional<sidecar> to_sidecar(const kovax::json& json) {
  if (number_in(json, "version") != version || !json.contains("anchors")) return std::nullopt;
  const kovax::json& anchors = json.at("anchors");
  if (!anchors.is_array() || anchors.empty()) return std::nullopt;
  sidecar content;
  if (json.contains("uuid") && json.at("uuid").is_string()) {
    content.uuid = json.at("uuid").get<std::string>();
  }
  for (const kovax::json& each : anchors) {
    const auto anchor = to_anchor(each);
    if (!anchor) return std::nullopt;
    content.anchors.push_back(*anchor);
  }
  return content;
}

// The sidecar's object; null if there is none.
kovax::json document_in(const std::filesystem::path& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored) ||
      std::filesystem::file_size(path, ignored) > max_size) {
    return nullptr;
  }
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  kovax::json json = kovax::json::parse(text, nullptr, false);
  const bool is_one =
      json.is_object() && json.contains("format") && json.at("format") == format_name;
  return is_one ? json : kovax::json();
}

}  // namespace

std::filesystem::path sidecar_path(const std::filesystem::path& trace) {
  std::filesystem::path path = trace;
  path += ".json";
  return path;
}

std::error_code write_sidecar(const std::filesystem::path& path, const sidecar& content) {
  kovax::json anchors = kovax::json::array();
  for (const clock_anchor& anchor : content.anchors) anchors.push_back(to_json(anchor));
  const kovax::json json = {{"format", format_name},
                            {"version", version},
                            {"uuid", content.uuid},
                            {"anchors", std::move(anchors)}};
  atomic_file file;
  if (const std::error_code error = file.open(path)) return error;
  const std::string text = json.dump(2, ' ', false, kovax::json::error_handler_t::replace) + "\n";
  if (const std::error_code error = file.write(text)) return error;
  return file.commit();
}

std::optional<sidecar> read_sidecar(const std::filesystem::path& path) {
  const kovax::json json = document_in(path);
  if (json.is_null()) return std::nullopt;
  if (auto content = to_sidecar(json)) return content;
  throw user_error(
      exit_code::bad_input,
      fmt::format("{} does not say when the trace was recorded: it is damaged, or from a later "
                  "version; say with --time-base how to count the times, or remove it.",
                  platform::path_to_utf8(path)));
}

std::string recorded_uuid(const std::filesystem::path& trace) {
  const auto recorded = read_sidecar(sidecar_path(trace));
  return recorded ? recorded->uuid : std::string();
}

bool is_sidecar(const std::filesystem::path& path) {
  return !document_in(path).is_null();
}

void sidecar_writer::begin() {
  std::error_code ignored;
  if (is_sidecar(path_)) std::filesystem::remove(path_, ignored);
}

std::error_code sidecar_writer::add(const clock_anchor& anchor, const std::string& uuid) {
  content_.uuid = uuid;
  content_.anchors.push_back(anchor);
  return write_sidecar(path_, content_);
}

std::error_code sidecar_writer::set_uuid(const std::string& uuid) {
  if (content_.anchors.empty() || std::exchange(content_.uuid, uuid) == uuid) return {};
  return write_sidecar(path_, content_);
}

}  // namespace veltra::host
