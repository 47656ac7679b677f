#include "plugin/database/limited_download.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <curlpp/Easy.hpp>
#include <curlpp/Exception.hpp>
#include <curlpp/Infos.hpp>
#include <curlpp/Options.hpp>
#include <curlpp/cURLpp.hpp>
#include <string_view>
#include <thread>
#include <utility>

namespace veltra {

namespace {

using allowed_protocols = curlpp::OptionTrait<std::string, CURLOPT_PROTOCOLS_STR>;

constexpr long http_ok = 200;
constexpr long http_server_error = 500;
constexpr std::array<std::chrono::milliseconds, 2> pauses = {std::chrono::milliseconds(1000),
                                                             std::chrono::milliseconds(2000)};

// One attempt. `reason` is empty for a file that came whole.
struct attempt {
  std::string body;
  std::string reason;
  bool may_pass = false;
};

bool may_pass(CURLcode code) {
  return code == CURLE_RECV_ERROR || code == CURLE_SEND_ERROR || code == CURLE_GOT_NOTHING ||
         code == CURLE_PARTIAL_FILE;
}

std::string describe(CURLcode code, const char* text, const download_limits& limits,
                     bool is_too_large) {
  if (is_too_large || code == CURLE_FILESIZE_EXCEEDED) {
    return fmt::format("larger than {} bytes", limits.max_size);
  }
  if (code == CURLE_OPERATION_TIMEDOUT) {
    return fmt::format("no answer within {} s", limits.timeout.count());
  }
  const std::string_view given = text;
  return std::string(given.empty() ? curl_easy_strerror(code) : given);
}

attempt fetch_once(const std::string& address, const std::optional<std::string>& proxy,
                   const download_limits& limits) {
  attempt result;
  bool is_too_large = false;
  curlpp::Easy request;
  const auto take = [&](const char* data, std::size_t size, std::size_t count) -> std::size_t {
    const std::size_t bytes = size * count;
    is_too_large = bytes > limits.max_size - result.body.size();
    if (is_too_large) return 0;
    result.body.append(data, bytes);
    return bytes;
  };
  request.setOpt(curlpp::options::Url(address));
  request.setOpt(allowed_protocols("http,https,file"));
  request.setOpt(curlpp::options::NoSignal(true));
  request.setOpt(curlpp::options::ConnectTimeout(static_cast<long>(limits.timeout.count())));
  request.setOpt(curlpp::options::LowSpeedLimit(1));
  request.setOpt(curlpp::options::LowSpeedTime(static_cast<long>(limits.timeout.count())));
  request.setOpt(curlpp::options::MaxFileSizeLarge(static_cast<curl_off_t>(limits.max_size)));
  request.setOpt(curlpp::options::WriteFunction(take));
  if (proxy) request.setOpt(curlpp::options::Proxy(*proxy));
  try {
    request.perform();
  } catch (const curlpp::LibcurlRuntimeError& failure) {
    result.reason = describe(failure.whatCode(), failure.what(), limits, is_too_large);
    result.may_pass = !is_too_large && may_pass(failure.whatCode());
    return result;
  }
  const long status = curlpp::infos::ResponseCode::get(request);
  // A file has no status.
  if (status != 0 && status != http_ok) {
    result.reason = fmt::format("HTTP status {}", status);
    result.may_pass = status >= http_server_error;
  } else if (result.body.empty()) {
    result.reason = "it is empty there";
  }
  return result;
}

}  // namespace

std::string download_within(const std::string& address, const std::optional<std::string>& proxy,
                            const download_limits& limits) {
  const curlpp::Cleanup libcurl_in_use;
  for (std::size_t tries = 0;; ++tries) {
    attempt result;
    try {
      result = fetch_once(address, proxy, limits);
    } catch (const curlpp::LogicError& failure) {
      result.reason = failure.what();
    }
    if (result.reason.empty()) return std::move(result.body);
    if (!result.may_pass || tries == pauses.size()) {
      throw download_error(fmt::format("{}: {}{}", address, result.reason,
                                       tries == 0 ? "" : fmt::format(", {} times", tries + 1)));
    }
    if (limits.pause) {
      limits.pause(pauses[tries]);
    } else {
      std::this_thread::sleep_for(pauses[tries]);
    }
  }
}

bool is_plain_http(const std::string& address) {
  std::string start = address.substr(0, address.find('/', std::string_view("http://").size()));
  std::transform(start.begin(), start.end(), start.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (!start.starts_with("http://")) return false;
  std::string_view host = std::string_view(start).substr(std::string_view("http://").size());
  host = host.substr(host.find('@') + 1);  // npos + 1 is 0
  return host != "localhost" && !host.starts_with("localhost:") && !host.starts_with("127.") &&
         !host.starts_with("[::1]");
}

}  // namespace veltra
