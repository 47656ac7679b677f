#include "host/output/capture_output.h"

#include <utility>

#include "host/output/capture_writer.h"
#include "host/output/jsonl_writer.h"
#include "host/output/prompt_consumer.h"
#include "host/output/output_failure.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

capture_output::capture_output(const output_options& options, bool live,
                               std::function<void()> on_failure)
    : path_(platform::path_from_utf8(options.file)),
      streamed_(live && output_file::is_stream(path_)),
      file_(path_, options.format == "jsonl" || streamed_ ? output_file::access::sequential
                                                          : output_file::access::random) {
  if (options.format == "jsonl") {
    writer_ = std::make_unique<jsonl_writer>(file_, options.raw_packets);
  } else {
    writer_ = std::make_unique<capture_writer>(
        file_,
        capture_writer::settings{.with_raw_packets = options.raw_packets, .streamed = streamed_});
  }
  if (!live) return;
  writer_ = std::make_unique<prompt_consumer>(std::move(writer_), std::move(on_failure));
}

void capture_output::begin() {
  if (streamed_) writer_->flush();
}

void capture_output::commit() {
  writer_->finish();
  file_.commit();
}

bool capture_output::rescue() {
  try {
    if (!file_.is_finished() && !save_whole_records()) return false;
    file_.commit();
    return true;
  } catch (const user_error&) {
    const std::filesystem::path left = file_.leave();
    if (left.empty()) return false;
    path_ = left;
    return true;
  }
}

bool capture_output::save_whole_records() {
  if (!file_.keep_whole_records()) return false;
  cut_ = true;
  try {
    writer_->finish_without_room();
  } catch (const user_error&) {
    // The packets are worth something without what else belongs to them.
    return file_.keep_whole_records();
  }
  return true;
}

std::string capture_output::remarks() const {
  std::string text = writer_->remarks();
  if (!cut_) return text;
  if (!text.empty()) text += ", ";
  return text + "the last packets are missing";
}

std::string capture_output::name() const {
  return output_name(path_);
}

}  // namespace veltra::host
