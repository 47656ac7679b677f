#include "host/output/rotating_sink.h"

#include <fmt/format.h>

#include <utility>

#include "host/output/output_failure.h"
#include "host/output/output_format.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

rotating_sink::rotating_sink(std::filesystem::path base, content kind, factory make,
                             finished on_finished)
    : base_(std::move(base)),
      content_(kind),
      make_(std::move(make)),
      on_finished_(std::move(on_finished)),
      sample_(make_(piece_path(base_, {}), nullptr)) {
  check_output_place("cannot write", piece_path(base_, {}));
}

void rotating_sink::begin_piece(const piece& next) {
  // Before the end of the one before, which gives up what it cannot complete.
  std::unique_ptr<sink> following = make_(piece_path(base_, next), current_.get());
  finish_current();
  current_ = std::move(following);
  piece_ = next;
  piece_number_ = next.number;
}

void rotating_sink::end_piece() {
  finish_current();
}

// Not before there is something to write, so that a piece without content is not a file.
void rotating_sink::begin_current() {
  is_open_ = true;
  current_->set_provenance(provenance_);
  current_->begin();
  if (!remark_.empty()) current_->add_remark(std::exchange(remark_, {}));
  if (missed_ != 0) current_->mark_missed(std::exchange(missed_, 0));
}

void rotating_sink::write(const packet& packet) {
  if (!is_content(packet)) return;
  if (!is_open_) begin_current();
  current_->write(packet);
  piece_bytes_ = current_->bytes();
}

void rotating_sink::mark_missed(std::uint64_t count) {
  if (is_open_) {
    current_->mark_missed(count);
  } else {
    missed_ += count;
  }
}

void rotating_sink::finish_current() {
  if (!is_open_) return;
  try {
    current_->finish();
  } catch (const user_error&) {
    if (current_->salvage()) note_finished();
    is_open_ = false;
    throw;
  }
  note_finished();
}

void rotating_sink::note_finished() {
  is_open_ = false;
  ++files_;
  finished_packets_ += current_->packets();
  finished_bytes_ += piece_bytes_.exchange(0);
  remarks_ = current_->remarks();
  on_finished_(piece_, platform::path_from_utf8(current_->name()));
}

bool rotating_sink::flush() {
  return is_open_ && current_->flush();
}

bool rotating_sink::salvage() {
  if (is_open_ && current_->salvage()) note_finished();
  return files_ != 0;
}

bool rotating_sink::wants_metadata() const {
  return sample_->wants_metadata();
}

std::string rotating_sink::name() const {
  std::filesystem::path pattern = base_;
  const auto [stem, ending] = divide_name(base_);
  pattern.replace_filename(platform::path_from_utf8(stem + "_*" + ending));
  return fmt::format("{} ({} file{})", platform::path_to_utf8(pattern), files_,
                     files_ == 1 ? "" : "s");
}

bool rotating_sink::is_content(const packet& packet) const {
  return content_ == content::all || is_raw(packet) == (content_ == content::raw);
}

}  // namespace veltra::host
