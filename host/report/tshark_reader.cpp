#include "host/report/tshark_reader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "implementation/json.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/process.h"

namespace veltra::report {

namespace {

using kovax::json;

// A line of tshark describes one frame; beyond this it is not kept.
constexpr std::size_t max_line = 16U << 20U;

// Lines out of a pipe.
class line_reader {
 public:
  explicit line_reader(platform::process& source) : source_(source) {}

  // The next line without its end; nothing at the end of the output. Holds until the next call.
  std::optional<std::string_view> next() {
    for (;;) {
      const std::size_t end = buffer_.find('\n', searched_);
      if (end != std::string::npos) {
        const std::string_view line = std::string_view(buffer_).substr(begin_, end - begin_);
        begin_ = searched_ = end + 1;
        return line;
      }
      buffer_.erase(0, begin_);
      begin_ = 0;
      if (buffer_.size() > max_line) buffer_.clear();
      searched_ = buffer_.size();
      buffer_.resize(searched_ + piece_size);
      const std::size_t count = source_.read(std::span(buffer_).subspan(searched_));
      buffer_.resize(searched_ + count);
      if (count == 0) return std::nullopt;
    }
  }

 private:
  static constexpr std::size_t piece_size = 65536;

  platform::process& source_;
  std::string buffer_;
  std::size_t begin_ = 0;
  std::size_t searched_ = 0;
};

// What a person should read of standard error: its last line, without the warning that tshark
// gives whenever it runs as root.
std::string last_words(std::string_view diagnostics) {
  std::string last;
  while (!diagnostics.empty()) {
    const std::string_view line = diagnostics.substr(0, diagnostics.find('\n'));
    diagnostics.remove_prefix(std::min(diagnostics.size(), line.size() + 1));
    if (!line.empty() && line.find("Running as user") == std::string_view::npos) last = line;
  }
  return last;
}

// The names below "Some fields aren't valid:", one a line behind a tab.
std::vector<std::string> refused_fields(std::string_view diagnostics) {
  std::vector<std::string> result;
  const std::size_t start = diagnostics.find("fields aren't valid:");
  if (start == std::string_view::npos) return result;
  diagnostics.remove_prefix(start);
  while (!diagnostics.empty()) {
    const std::string_view line = diagnostics.substr(0, diagnostics.find('\n'));
    diagnostics.remove_prefix(std::min(diagnostics.size(), line.size() + 1));
    if (line.starts_with('\t')) {
      result.emplace_back(line.substr(1, line.find_last_not_of(" \r")));
    }
  }
  return result;
}

// Members of tshark's objects are fields with "_" for ".".
std::string member_name(std::string name) {
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

}  // namespace

class tshark_reader::implementation {
 public:
  implementation(std::filesystem::path tshark, std::filesystem::path capture)
      : tshark_(std::move(tshark)), capture_(std::move(capture)) {
    start();
  }

  std::optional<std::uint32_t> next(field_values& into) {
    while (lines_) {
      const std::optional<std::string_view> line = lines_->next();
      if (!line) {
        end();
        continue;
      }
      if (const auto number = read(*line, into)) {
        has_given_ = true;
        return number;
      }
    }
    return std::nullopt;
  }

  const std::vector<std::string>& unknown_fields() const { return unknown_; }
  const std::string& failure() const { return failure_; }

 private:
  void start() {
    // Without names from the network; every packet as one line of JSON.
    std::vector<std::string> arguments = {"-n", "-r", platform::path_to_utf8(capture_), "-T", "ek"};
    members_.clear();
    for (const tshark_field& each : tshark_fields()) {
      if (std::find(unknown_.begin(), unknown_.end(), each.name) != unknown_.end()) continue;
      arguments.insert(arguments.end(), {"-e", each.name});
      members_.emplace(member_name(each.name), each.meaning);
    }
    lines_.reset();
    process_ = std::make_unique<platform::process>(tshark_, arguments);
    lines_ = std::make_unique<line_reader>(*process_);
  }

  void end() {
    const platform::process::ending ending = process_->wait();
    lines_.reset();
    process_.reset();
    if (!ending.killed && ending.exit_code == 0) return;
    const std::vector<std::string> refused = refused_fields(ending.diagnostics);
    if (!has_given_ && !refused.empty() && unknown_.empty()) {
      unknown_ = refused;
      start();
      return;
    }
    failure_ = last_words(ending.diagnostics);
    if (failure_.empty()) {
      failure_ = ending.killed ? "it was killed"
                               : "it ended with code " + std::to_string(ending.exit_code);
    }
  }

  // Nothing for a line that describes no frame: each has one in front that names an index.
  std::optional<std::uint32_t> read(std::string_view line, field_values& into) {
    into.clear();
    const json object = json::parse(line, nullptr, false);
    if (!object.is_object()) return std::nullopt;
    const auto layers = object.find("layers");
    if (layers == object.end() || !layers->is_object()) return std::nullopt;
    for (const auto& [name, values] : layers->items()) {
      const auto known = members_.find(name);
      if (known == members_.end() || !values.is_array()) continue;
      for (const json& value : values) {
        if (value.is_string()) into.add(known->second, value.get<std::string>());
      }
    }
    const auto number = into.number(field::frame_number);
    if (!number) return std::nullopt;
    return static_cast<std::uint32_t>(*number);
  }

  std::filesystem::path tshark_;
  std::filesystem::path capture_;
  std::unordered_map<std::string, field> members_;
  std::unique_ptr<platform::process> process_;
  std::unique_ptr<line_reader> lines_;
  std::vector<std::string> unknown_;
  std::string failure_;
  bool has_given_ = false;
};

tshark_reader::tshark_reader(std::filesystem::path tshark, std::filesystem::path capture)
    : implementation_(std::make_unique<implementation>(std::move(tshark), std::move(capture))) {}

tshark_reader::~tshark_reader() = default;

std::optional<std::uint32_t> tshark_reader::next(field_values& into) {
  return implementation_->next(into);
}

const std::vector<std::string>& tshark_reader::unknown_fields() const {
  return implementation_->unknown_fields();
}

const std::string& tshark_reader::failure() const {
  return implementation_->failure();
}

std::filesystem::path find_tshark(const std::string& named) {
  if (!named.empty()) return platform::find_program(named);
  const std::filesystem::path found = platform::find_program("tshark");
  if (!found.empty()) return found;
  // The installer of Wireshark for Windows does not change the path.
  const auto programs = platform::find_environment_variable("ProgramFiles");
  if (!programs) return {};
  return platform::find_program(*programs + "/Wireshark/tshark.exe");
}

std::string tshark_version(const std::filesystem::path& tshark) {
  try {
    platform::process running(tshark, {"--version"});
    std::string output;
    std::array<char, 4096> piece{};
    while (const std::size_t count = running.read(piece)) output.append(piece.data(), count);
    running.wait();
    // "TShark (Wireshark) 4.0.17 (Git v4.0.17 packaged as ...)."
    const std::string_view line = std::string_view(output).substr(0, output.find('\n'));
    const std::size_t begin = line.find_first_of("0123456789");
    const bool is_named = line.starts_with("TShark") || line.starts_with("Wireshark");
    if (!is_named || begin == std::string_view::npos) return {};
    const std::size_t end = line.find_first_not_of("0123456789.", begin);
    std::string version(line.substr(begin, end == std::string_view::npos ? end : end - begin));
    while (version.ends_with('.')) version.pop_back();
    return version;
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace veltra::report
