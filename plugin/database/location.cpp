#include "plugin/database/location.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>
#include <curlpp/cURLpp.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "implementation/json_values.h"
#include "plugin/database/cache_settings_error.h"

namespace veltra {

namespace {

constexpr std::string_view placeholder = "${root}";

std::size_t find_placeholder(std::string_view text) {
  const std::size_t found = text.find(placeholder);
  return found != std::string_view::npos ? found : text.find("${ROOT}");
}

bool ends_with_separator(std::string_view text) {
  return text.ends_with('/') || text.ends_with('\\');
}

// What follows a placeholder. A location with the placeholder further in may
// not be shorter than one: it holds a whole one.
std::string_view without_placeholder(std::string_view text) {
  return text.substr(placeholder.size());
}

// libcurl takes a read error in a file for its end.
void check_file_is_whole(const curlpp::Easy& request, std::string_view address, std::size_t size) {
  curl_off_t expected = -1;
  if (!address.starts_with("file:") ||
      curl_easy_getinfo(request.getHandle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &expected) !=
          CURLE_OK ||
      expected <= static_cast<curl_off_t>(size)) {
    return;
  }
  throw std::runtime_error(
      fmt::format("only {} of {} bytes could be read from {}", size, expected, address));
}

}  // namespace

std::string resolve_location(std::string_view root, std::string_view location) {
  const std::size_t found = find_placeholder(location);
  if (found == std::string_view::npos) return std::string(location);
  if (found == 0 && root.empty()) {
    throw cache_settings_error(cache_settings_fault::root_missing,
                               "root missing from auto_detect_db_config");
  }
  std::string address(root);
  if (!ends_with_separator(root)) address += '/';
  address += without_placeholder(location);
  return address;
}

std::string download_to_string(const std::string& address,
                               const std::optional<std::string>& proxy) {
  const curlpp::Cleanup libcurl_in_use;
  std::ostringstream body;
  curlpp::Easy request;
  request.setOpt(curlpp::options::Url(address));
  request.setOpt(curlpp::options::WriteStream(&body));
  if (proxy) request.setOpt(curlpp::options::Proxy(*proxy));
  request.perform();
  std::string bytes = std::move(body).str();
  check_file_is_whole(request, address, bytes.size());
  return bytes;
}

std::string cache_file_name(const kovax::json& entry) {
  const std::string path = kovax::text_member(kovax::member(entry, "database"), "path");
  if (find_placeholder(path) == 0) return std::string(without_placeholder(path));
  for (const char separator : {'/', '\\'}) {
    const std::size_t last = path.rfind(separator);
    if (last != std::string::npos) return path.substr(last + 1);
  }
  return path;
}

}  // namespace veltra
