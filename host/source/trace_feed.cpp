#include "host/source/trace_feed.h"

#include <array>
#include <string_view>
#include <utility>

#include "platform/thread.h"

namespace veltra::host {

trace_feed::trace_feed(std::string first, std::unique_ptr<trace_reader> reader)
    : first_(std::move(first)), reader_(std::move(reader)) {}

trace_feed::~trace_feed() {
  end_early();
  pipe_.close_reading_end();
  if (thread_.joinable()) thread_.join();
}

const std::filesystem::path& trace_feed::open() {
  if (!thread_.joinable()) thread_ = platform::start_thread([this] { work(); });
  return pipe_.name();
}

std::exception_ptr trace_feed::failure() {
  // A plug-in that has not met the end leaves bytes that nobody takes.
  end_early();
  pipe_.close_reading_end();
  if (thread_.joinable()) thread_.join();
  return failure_;
}

void trace_feed::work() {
  try {
    if (pipe_.write(std::exchange(first_, {}))) {
      std::array<char, 65536> block;
      while (const std::size_t count = reader_->read(block)) {
        if (!pipe_.write({block.data(), count})) break;
      }
    }
  } catch (const std::exception&) {
    failure_ = std::current_exception();
  }
  pipe_.end();
}

}  // namespace veltra::host
