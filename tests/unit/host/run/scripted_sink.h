// scripted_sink.h - a sink that does what a test says.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/output/sink.h"

namespace veltra::host {

// The functions run before what they are named after is recorded, on the thread that
// calls the sink. They may wait, and what they throw is the sink's failure.
class scripted_sink : public sink {
 public:
  std::function<void(const packet&)> writing = [](const packet&) {};
  std::function<void()> marking = [] {};
  std::function<bool()> flushing = [] { return false; };  // as flush() returns it
  std::function<void()> finishing = [] {};
  bool metadata_is_wanted = false;
  bool raw_bytes_are_wanted = true;
  bool is_read_meanwhile = false;

  void begin() override { record("begin"); }
  void write(const packet& packet) override {
    writing(packet);
    const auto part = packet.payload.first(std::min<std::size_t>(packet.payload.size(), 100));
    const std::string payload(part.begin(), part.end());
    record(fmt::format("{} {}", packet.layer, payload));
  }
  void mark_missed(std::uint64_t count) override {
    marking();
    record(fmt::format("missed {}", count));
  }
  bool flush() override {
    const bool holds_back = flushing();
    record("flush");
    return holds_back;
  }
  void finish() override {
    finishing();
    record("finish");
  }
  bool salvage() override {
    record("salvage");
    return true;
  }
  void limit_writes() noexcept override { record("limit writes"); }
  bool wants_metadata() const override { return metadata_is_wanted; }
  bool wants_raw_bytes() const override { return raw_bytes_are_wanted; }
  bool is_stream() const override { return is_read_meanwhile; }
  std::string name() const override { return "the sink"; }

  // What was done so far, a packet as "LAYER PAYLOAD" with the beginning of its payload.
  std::vector<std::string> done() const {
    const std::lock_guard lock(mutex_);
    return done_;
  }

 private:
  void record(std::string what) {
    const std::lock_guard lock(mutex_);
    done_.push_back(std::move(what));
  }

  mutable std::mutex mutex_;
  std::vector<std::string> done_;
};

}  // namespace veltra::host
