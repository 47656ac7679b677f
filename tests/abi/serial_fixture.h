// serial_fixture.h - an instance that reads from a serial line.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/message.h"
#include "tests/support/modem_line.h"
#include "tests/support/source_fixture.h"

namespace test_support {

class serial_fixture : public source_fixture {
 protected:
  using outcome = modem_line::outcome;

  serial_fixture() : line(std::make_unique<modem_line>()) {
    session.on_packet = [this](const received_packet& packet) { take(packet); };
  }

  ~serial_fixture() override {
    if (running_.valid()) {
      session.stop();
      running_.wait();
    }
  }

  // A text that ends with the system's description of one of its errors.
  static std::string with_reason(const std::string& text, int error) {
    return text + platform::utf8_message(std::system_category().message(error));
  }

  // Matches the text of a run that lost its line.
  static testing::Matcher<std::string> says_lost() {
    std::vector<std::string> texts;
    for (const int error : system_line_errors().lost) {
      texts.push_back(with_reason("port closed: ", error));
    }
    return testing::AnyOfArray(texts);
  }

  std::string device() const { return line->device(); }

  // Initialises for the line, with `more` parameters.
  void open_line(const kovax::json& more = kovax::json::object()) {
    kovax::json parameters = more;
    parameters["serialport"]["path"] = device();
    open(parameters);
  }

  // Calls start on another thread; start_receiving() also waits until the port is
  // open, so that nothing that is sent then is lost.
  void begin_start() {
    running_ = std::async(std::launch::async, [this] { return session.start(); });
  }
  void start_receiving() {
    begin_start();
    ASSERT_EQ(line->wait_for_reader(std::chrono::hours(1)), outcome::done);
  }

  // Waits for start to return.
  std::int32_t result_of_start() { return running_.get(); }

  // Stops and waits for start to return.
  std::int32_t stop_and_wait() {
    EXPECT_EQ(session.stop(), 0);
    return result_of_start();
  }

  // The same where start may not have begun: a stop before it has no effect on it.
  std::int32_t stop_until_start_returns() {
    do {
      EXPECT_EQ(session.stop(), 0);
    } while (running_.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready);
    return result_of_start();
  }

  // From any thread: what a test sends within a callback may come before the send that led
  // to it has returned.
  void send(std::string_view bytes) {
    const std::lock_guard lock(line_mutex_);
    ASSERT_EQ(line->write(bytes), outcome::done);
  }

  // Sends and waits until the plug-in has taken the bytes from the line, and for `grace`.
  void send_and_drain(std::string_view bytes,
                      std::chrono::milliseconds grace = std::chrono::milliseconds(0)) {
    const std::lock_guard lock(line_mutex_);
    ASSERT_EQ(line->write(bytes), outcome::done);
    ASSERT_EQ(line->drain(grace), outcome::done);
  }

  // As if no packet had come yet; not while start runs.
  void forget_packets() {
    session.packets.clear();
    packets_ = 0;
    raw_bytes_ = 0;
  }

  // Waits until raw packets of so many bytes have come in all.
  void wait_for_raw_bytes(std::size_t count) {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [&] { return raw_bytes_ >= count; });
  }

  // Waits until so many packets have come in all.
  void wait_for_packets(std::size_t count) {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [&] { return packets_ >= count; });
  }

  std::unique_ptr<modem_line> line;
  // Called for each packet within the callback; set before start.
  std::function<void(const received_packet&)> in_callback;

 private:
  void take(const received_packet& packet) {
    if (in_callback) in_callback(packet);
    const std::lock_guard lock(mutex_);
    ++packets_;
    if (packet.is_raw()) raw_bytes_ += packet.data.size();
    arrived_.notify_all();
  }

  std::mutex line_mutex_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::size_t packets_ = 0;
  std::size_t raw_bytes_ = 0;
  std::future<std::int32_t> running_;
};

}  // namespace test_support
