// rotating_sink.h - an output that is a series of files, each complete by itself.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "host/output/sink.h"

namespace veltra::host {

// Owns the sink of the piece under way and replaces it at begin_piece(). A piece to which
// no packet of its kind comes leaves no file. The pieces are files, never streams.
class rotating_sink : public sink {
 public:
  enum class content { raw, decoded, all };  // the packets that make a piece

  // Makes the sink of one piece. `previous` is the piece before, which may be under way or
  // finished; null for the first.
  using factory =
      std::function<std::unique_ptr<sink>(const std::filesystem::path& path, sink* previous)>;
  // A piece is complete under its name; on the thread of the sink's calls.
  using finished = std::function<void(const piece&, const std::filesystem::path& path)>;

  // `base` is the name without number and time. Fails at once if no file can be there.
  rotating_sink(std::filesystem::path base, content kind, factory make, finished on_finished);

  void set_provenance(const provenance& facts) override { provenance_ = facts; }
  void begin() override {}
  // Not before the first begin_piece().
  void write(const packet& packet) override;
  void mark_missed(std::uint64_t count) override;
  void add_remark(std::string_view remark) override { remark_ = remark; }
  void begin_piece(const piece& next) override;
  void end_piece() override;
  bool flush() override;
  void sync() override {
    if (is_open_) current_->sync();
  }
  void finish() override { end_piece(); }
  bool salvage() override;
  void limit_writes() noexcept override {}  // of files there is none to wait for
  bool wants_metadata() const override;
  bool wants_raw_bytes() const override { return sample_->wants_raw_bytes(); }
  bool is_stream() const override { return false; }
  std::uint64_t bytes() const override { return finished_bytes_ + piece_bytes_; }
  std::uint64_t piece_bytes(std::uint32_t number) const override {
    return piece_number_ == number ? piece_bytes_.load() : 0;
  }
  std::uint64_t packets() const override {
    return finished_packets_ + (is_open_ ? current_->packets() : 0);
  }
  std::string name() const override;
  std::string remarks() const override { return remarks_; }

 private:
  bool is_content(const packet& packet) const;
  void begin_current();
  void finish_current();
  void note_finished();

  const std::filesystem::path base_;
  const content content_;
  const factory make_;
  const finished on_finished_;
  const std::unique_ptr<sink> sample_;  // for what all pieces have in common
  provenance provenance_;
  piece piece_;
  std::unique_ptr<sink> current_;  // of piece_; null before the first one
  bool is_open_ = false;           // current_ has begun and not ended
  std::uint64_t missed_ = 0;
  std::string remark_;
  std::string remarks_;
  std::uint32_t files_ = 0;
  std::uint64_t finished_packets_ = 0;
  std::atomic<std::uint64_t> piece_bytes_ = 0;  // set to 0 before the next number
  std::atomic<std::uint32_t> piece_number_ = 0;
  std::atomic<std::uint64_t> finished_bytes_ = 0;
};

}  // namespace veltra::host
