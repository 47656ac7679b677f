#include "tests/support/source_session.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/scripted_decoder.h"

namespace test_support {

source_session::source_session() = default;

source_session::~source_session() {
  if (handle_ != nullptr) release();
}

std::int32_t source_session::init(const std::string& parameters) {
  std::string text = parameters;
  kovax_source_init_args arguments = {};
  arguments.parameters = text.c_str();
  arguments.log_user_data = &for_log_;
  arguments.log = without_log ? nullptr : &take_log;
  arguments.error_user_data = &for_error_;
  arguments.error = without_error ? nullptr : &take_error;

  const std::int32_t result = plugin().init(&handle_, &arguments);

  text.assign(text.size(), '#');
  std::memset(static_cast<void*>(&arguments), 0, sizeof arguments);
  return result;
}

std::int32_t source_session::start() {
  return plugin().start(handle_, &for_packet_, &take_packet);
}

std::int32_t source_session::stop() {
  return plugin().stop(handle_);
}

std::int32_t source_session::release() {
  kovax_source* source = handle_;
  handle_ = nullptr;
  return plugin().release(source);
}

reported_error source_session::last_error() {
  reported_error result{"get_last_error did not call back", -1};
  plugin().get_last_error(handle_, &result, [](void* data, kovax_error_t error) {
    *static_cast<reported_error*>(data) = {error.message, error.code};
  });
  return result;
}

std::vector<received_packet> source_session::raw() const {
  auto result = packets;
  std::erase_if(result, [](const received_packet& packet) { return !packet.is_raw(); });
  return result;
}

std::vector<received_packet> source_session::decoded() const {
  auto result = packets;
  std::erase_if(result, [](const received_packet& packet) { return packet.is_raw(); });
  return result;
}

void source_session::forget_logs() {
  const std::lock_guard lock(log_mutex_);
  logs.clear();
}

std::vector<std::string> source_session::log_texts() const {
  std::vector<std::string> result;
  for (const auto& line : logs) result.push_back(line.text);
  return result;
}

std::string source_session::raw_bytes() const {
  std::string result;
  for (const auto& packet : packets) {
    if (packet.is_raw()) result += packet.data;
  }
  return result;
}

source_session& source_session::session_of(void* data, role expected) {
  auto* found = static_cast<user_data*>(data);
  EXPECT_EQ(found->used_for, expected) << "a callback got another callback's user data";
  return *found->session;
}

void source_session::take_log(kovax_source* source, void* data, std::int32_t level,
                              const char* message) {
  source_session& session = session_of(data, role::log);
  const log_line line{source, level, message};
  {
    const std::lock_guard lock(session.log_mutex_);
    session.logs.push_back(line);
  }
  // A copy, since a hook may replace itself.
  if (const auto hook = session.on_log) hook(line);
}

void source_session::take_error(void* data, kovax_error_t error) {
  source_session& session = session_of(data, role::error);
  session.errors.push_back({error.message, error.code});
  if (const auto hook = session.on_error) hook();
}

void source_session::take_packet(kovax_source* source, void* data, kovax_stream_packet_t packet) {
  source_session& session = session_of(data, role::packet);
  if (!session.note_packets) return;
  received_packet copy;
  copy.source = source;
  if (packet.data_size != 0) {
    copy.data.assign(reinterpret_cast<const char*>(packet.data), packet.data_size);
  }
  copy.data_size = packet.data_size;
  copy.field_12 = packet.field_12;
  copy.format = packet.format;
  copy.category = packet.category;
  copy.field_32 = packet.field_32;
  copy.timestamp = packet.timestamp;
  copy.metadata = packet.metadata;
  copy.sequence_number = packet.sequence_number;
  copy.field_64 = packet.field_64;
  copy.decoder_calls = scripted_decoder::instance().call_count();
  session.packets.push_back(copy);
  if (const auto hook = session.on_packet) hook(copy);
}

}  // namespace test_support
