// browser.h - a headless Chromium, driven through its WebDriver (W3C WebDriver).
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "platform/process.h"
#include "tests/support/temp_directory.h"

namespace test_support {

// One window with a profile of its own; it ends with the object. Functions throw
// std::runtime_error with what the driver said.
class browser {
 public:
  // Whether Debian's chromium and chromium-driver are installed.
  static bool is_installed();

  struct settings {
    int width = 1280;
    int height = 900;
    bool dark = false;
  };

  explicit browser(const settings& wanted);
  browser(const browser&) = delete;
  browser& operator=(const browser&) = delete;
  ~browser();

  // Loads a page and waits until it is there; `fragment` is "" or begins with "#".
  void open(const std::filesystem::path& page, const std::string& fragment = {});

  // Runs the body of a function in the page and returns what it returns, promises resolved.
  kovax::json run(const std::string& script, const kovax::json& arguments = kovax::json::array());

  // Presses keys on the element that has the focus.
  void press(const std::string& keys);

  // Presses the mouse on the middle of the element that the selector names.
  void click(const std::string& selector);

  // Errors and warnings that the page left on the console since the last call.
  std::vector<std::string> console();

  // What the window shows, as a PNG file.
  std::string screenshot();

  // The page as it is printed, as a PDF file.
  std::string print();

 private:
  void start_driver();
  kovax::json command(const char* method, const std::string& path, const kovax::json& body);
  kovax::json session_command(const std::string& path, const kovax::json& body);

  temp_directory profile_;
  std::unique_ptr<platform::process> driver_;
  std::string address_;  // of the driver, "http://127.0.0.1:40001"
  std::string session_;  // "/session/…"
};

}  // namespace test_support
