#include "tests/integration/report/browser.h"

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>
#include <curlpp/cURLpp.hpp>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace test_support {

namespace {

using kovax::json;

constexpr std::string_view port_label = "started successfully on port ";

std::string decode_base64(std::string_view text) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char each : text) {
    const std::size_t value = digits.find(each);
    if (value == std::string_view::npos) continue;
    bits = bits << 6U | static_cast<std::uint32_t>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      result += static_cast<char>(bits >> count & 0xFFU);
    }
  }
  return result;
}

// What the driver printed up to and with the line that names its port, or up to its end.
std::string read_start(platform::process& driver) {
  std::string output;
  char piece[256];
  while (const std::size_t count = driver.read(piece)) {
    output.append(piece, count);
    const std::size_t label = output.find(port_label);
    if (label != std::string::npos && output.find('\n', label) != std::string::npos) break;
  }
  return output;
}

}  // namespace

bool browser::is_installed() {
  return !platform::find_program("chromium").empty() &&
         !platform::find_program("chromedriver").empty();
}

browser::browser(const settings& wanted) {
  start_driver();
  json arguments = {
      "--headless",
      "--no-sandbox",
      "--disable-gpu",
      "--no-first-run",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
      "--hide-scrollbars",
      "--force-device-scale-factor=1",
      "--user-data-dir=" + profile_.path().string(),
      "--window-size=" + std::to_string(wanted.width) + "," + std::to_string(wanted.height)};
  if (wanted.dark) arguments.push_back("--blink-settings=preferredColorScheme=0");
  const json options = {{"binary", platform::find_program("chromium").string()},
                        {"args", std::move(arguments)}};
  const json created = command(
      "POST", "/session",
      {{"capabilities",
        {{"alwaysMatch",
          {{"goog:chromeOptions", options}, {"goog:loggingPrefs", {{"browser", "ALL"}}}}}}}});
  session_ = "/session/" + created.at("sessionId").get<std::string>();
}

void browser::start_driver() {
  // The driver takes a port that is free with IPv6 and ends if IPv4 has it in use, as any
  // connection of another program may have.
  std::string output;
  for (int attempt = 0; attempt < 20; ++attempt) {
    driver_ = std::make_unique<platform::process>(platform::find_program("chromedriver"),
                                                  std::vector<std::string>{"--port=0"});
    output = read_start(*driver_);
    const std::size_t label = output.find(port_label);
    if (label != std::string::npos) {
      const std::size_t begin = label + port_label.size();
      const std::size_t end = output.find_first_not_of("0123456789", begin);
      address_ = "http://127.0.0.1:" + output.substr(begin, end - begin);
      return;
    }
    if (output.find("port not available") == std::string::npos) break;
  }
  throw std::runtime_error("the driver did not start: " + output);
}

browser::~browser() {
  try {
    if (!session_.empty()) command("DELETE", session_, nullptr);
  } catch (const std::exception&) {
    // The driver ends in any case, and its browser with it.
  }
}

kovax::json browser::command(const char* method, const std::string& path, const json& body) {
  curlpp::Easy request;
  std::ostringstream answer;
  const std::string text = body.is_null() ? std::string() : body.dump();
  request.setOpt(curlpp::options::Url(address_ + path));
  request.setOpt(curlpp::options::CustomRequest(method));
  request.setOpt(curlpp::options::HttpHeader({"Content-Type: application/json"}));
  request.setOpt(curlpp::options::Proxy(""));  // not the environment's
  if (!text.empty()) {
    request.setOpt(curlpp::options::PostFields(text));
    request.setOpt(curlpp::options::PostFieldSize(static_cast<long>(text.size())));
  }
  request.setOpt(curlpp::options::WriteStream(&answer));
  request.perform();
  const json value = json::parse(answer.str()).at("value");
  if (value.is_object() && value.contains("error")) {
    throw std::runtime_error(value.at("message").get<std::string>());
  }
  return value;
}

kovax::json browser::session_command(const std::string& path, const json& body) {
  return command("POST", session_ + path, body);
}

void browser::open(const std::filesystem::path& page, const std::string& fragment) {
  session_command("/url", {{"url", "file://" + page.string() + fragment}});
}

kovax::json browser::run(const std::string& script, const json& arguments) {
  return session_command("/execute/sync", {{"script", script}, {"args", arguments}});
}

void browser::press(const std::string& keys) {
  json actions = json::array();
  // One character of UTF-8 after the other; keys without a character are in a private area.
  for (std::size_t at = 0; at < keys.size();) {
    std::size_t length = 1;
    while (at + length < keys.size() &&
           (static_cast<unsigned char>(keys[at + length]) & 0xC0U) == 0x80U) {
      ++length;
    }
    const std::string key = keys.substr(at, length);
    actions.push_back({{"type", "keyDown"}, {"value", key}});
    actions.push_back({{"type", "keyUp"}, {"value", key}});
    at += length;
  }
  session_command("/actions",
                  {{"actions", {{{"type", "key"}, {"id", "keys"}, {"actions", actions}}}}});
}

void browser::click(const std::string& selector) {
  const json found = session_command("/element", {{"using", "css selector"}, {"value", selector}});
  session_command("/element/" + found.begin().value().get<std::string>() + "/click",
                  json::object());
}

std::vector<std::string> browser::console() {
  std::vector<std::string> result;
  for (const json& entry : session_command("/se/log", {{"type", "browser"}})) {
    result.push_back(entry.at("message"));
  }
  return result;
}

std::string browser::screenshot() {
  return decode_base64(command("GET", session_ + "/screenshot", nullptr).get<std::string>());
}

std::string browser::print() {
  return decode_base64(session_command("/print", json::object()).get<std::string>());
}

}  // namespace test_support
