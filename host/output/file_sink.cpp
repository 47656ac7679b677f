#include "host/output/file_sink.h"

#include <utility>

#include "host/output/output_failure.h"
#include "host/output/output_format.h"
#include "host/user_error.h"

namespace veltra::host {

file_sink::file_sink(std::filesystem::path path)
    : path_(std::move(path)), is_stream_(output_file::is_stream(path_)) {}

void file_sink::begin() {
  before_opening();
  file_.emplace(path_,
                is_gzip_name(path_) ? output_file::storage::gzip : output_file::storage::plain,
                is_synced_ ? system_file_operations() : unsynced_file_operations());
  write_header();
  if (is_stream_) file_->flush();
}

void file_sink::finish() {
  write_trailer();
  file_->commit();
}

bool file_sink::salvage() {
  if (!file_) return false;
  try {
    if (!file_->is_finished() && !save_whole_records()) return false;
    file_->commit();
    return true;
  } catch (const user_error&) {
    const std::filesystem::path part = file_->keep_part();
    if (part.empty()) return false;
    path_ = part;
    return true;
  }
}

bool file_sink::save_whole_records() {
  if (!file_->keep_whole_records()) return false;
  is_cut_ = true;
  try {
    write_trailer();
    file_->flush();
  } catch (const user_error&) {
    // The packets are worth something without what else belongs to them.
    return file_->keep_whole_records();
  }
  return true;
}

void file_sink::limit_writes() noexcept {
  if (file_) file_->limit_writes();
}

std::string file_sink::name() const {
  return output_name(path_);
}

std::string file_sink::remarks() const {
  std::string text = packet_remarks();
  if (!is_cut_) return text;
  if (!text.empty()) text += ", ";
  return text + "the last packets are missing";
}

}  // namespace veltra::host
