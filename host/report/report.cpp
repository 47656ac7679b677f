#include "host/report/report.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <optional>
#include <system_error>
#include <utility>

#include "host/console.h"
#include "host/output/output_file.h"
#include "host/output/same_file.h"
#include "host/report/analysis.h"
#include "host/report/baseline.h"
#include "host/report/report_csv.h"
#include "host/report/report_json.h"
#include "host/report/report_page.h"
#include "host/report/tshark_reader.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::report {

namespace {

using host::exit_code;
using host::output_file;
using host::user_error;

// A section header block's type is the same in both byte orders.
bool is_pcapng(const std::filesystem::path& path) {
  const platform::owned_file file(platform::open_file(path, platform::open_mode::read));
  // What cannot be opened fails later, with the reason.
  if (!file) return true;
  std::array<unsigned char, 4> head{};
  return std::fread(head.data(), 1, head.size(), file.get()) == head.size() &&
         head == std::array<unsigned char, 4>{0x0A, 0x0D, 0x0D, 0x0A};
}

// A directory of this run; it goes away with what is in it.
class private_directory {
 public:
  private_directory() {
    try {
      const std::filesystem::path parent = std::filesystem::temp_directory_path();
      for (int i = 0; !created_; ++i) {
        path_ = parent / fmt::format("veltra-report.{}.{}", platform::process_id(), i);
        created_ = std::filesystem::create_directory(path_);
      }
      // Traces show whom the modem talks to.
      std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    } catch (const std::filesystem::filesystem_error& error) {
      throw user_error(exit_code::output_failed,
                       fmt::format("cannot make a directory for the decoded trace: {}.",
                                   error.code().message()));
    }
  }
  private_directory(const private_directory&) = delete;
  private_directory& operator=(const private_directory&) = delete;
  ~private_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  bool created_ = false;
};

class reporter {
 public:
  explicit reporter(const report_options& options) : options_(options) {}

  exit_code run() {
    check();
    std::vector<analysis> before;
    if (!options_.baseline.empty()) before = read_reports(options_.baseline);
    tshark_ = find_tshark(options_.tshark);
    if (tshark_.empty() && !options_.tshark.empty()) {
      throw user_error(exit_code::usage,
                       fmt::format("{} is not a program; name tshark's file.", options_.tshark));
    }
    for (const std::filesystem::path& each : options_.inputs) analyse_input(each);
    print_lacks();
    if (!options_.baseline.empty()) comparison_ = compare(before, captures_);
    write();
    return print_result();
  }

 private:
  void check() const {
    if (options_.inputs.empty()) {
      throw user_error(exit_code::usage, "there is nothing to report on: name a capture.");
    }
    for (const std::filesystem::path& each : options_.inputs) {
      if (each == "-") {
        throw user_error(exit_code::usage,
                         "a capture is read from a file, not from standard input; give its name.");
      }
      if (host::is_same_file(each, options_.output)) {
        throw user_error(exit_code::usage,
                         fmt::format("the output would replace the input {}; name another file "
                                     "with -o.",
                                     platform::path_to_utf8(each)));
      }
    }
  }

  void analyse_input(const std::filesystem::path& input) {
    if (is_pcapng(input) || !options_.decode) {
      captures_.push_back(analyse(input, tshark_));
      return;
    }
    const private_directory directory;
    const std::filesystem::path capture = directory.path() / "capture.pcapng";
    options_.decode(input, capture);
    captures_.push_back(analyse(capture, tshark_));
    captures_.back().file = platform::path_to_utf8(input);
  }

  void print(const std::string& line) const {
    if (options_.print) options_.print(host::sanitize(line) + "\n");
  }

  // Each lack once, not for every capture.
  void print_lacks() const {
    const dissection& first = captures_.front().dissection;
    if (!first.lack.empty()) print("veltra: note: " + first.lack);
    if (!first.unknown_fields.empty()) {
      print(fmt::format(
          "veltra: note: tshark {} does not know {} of the fields that the report "
          "uses; what they show is missing: {}.",
          first.version, first.unknown_fields.size(), fmt::join(first.unknown_fields, ", ")));
    }
  }

  void write() const {
    const baseline_comparison* const comparison = comparison_ ? &*comparison_ : nullptr;
    switch (options_.format) {
      case output_format::html:
        return write_file(options_.output, captures_.size() == 1
                                               ? report_page(captures_.front(), comparison)
                                               : comparison_page(captures_, comparison));
      case output_format::json:
        return write_file(options_.output,
                          report_json(captures_, captures_.size() == 1, comparison));
      case output_format::csv:
        break;
    }
    write_file(options_.output, events_csv(captures_));
    if (output_file::is_stream(options_.output)) return;
    write_file(beside_output("procedures"), procedures_csv(captures_));
    write_file(beside_output("indicators"), indicators_csv(captures_));
  }

  std::filesystem::path beside_output(const char* table) const {
    std::filesystem::path path = options_.output;
    return path.replace_extension(fmt::format(".{}.csv", table));
  }

  static void write_file(const std::filesystem::path& path, const std::string& text) {
    output_file file(path);
    file.write(text);
    file.commit();
  }

  exit_code print_result() const {
    for (const analysis& each : captures_) {
      print(fmt::format("{}: {}.", each.file, each.verdict.headline));
    }
    if (!comparison_) return exit_code::ok;
    for (const change& each : comparison_->worse) print("worse: " + each.text());
    for (const change& each : comparison_->better) print("better: " + each.text());
    if (comparison_->worse.empty()) {
      print("nothing became worse");
      return exit_code::ok;
    }
    return exit_code::worse;
  }

  const report_options& options_;
  std::filesystem::path tshark_;
  std::vector<analysis> captures_;
  std::optional<baseline_comparison> comparison_;
};

}  // namespace

exit_code make_report(const report_options& options) {
  return reporter(options).run();
}

}  // namespace veltra::report
