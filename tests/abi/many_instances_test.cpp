// Instances side by side in one process, each with a thread, a file and a decoder of its own.
#include <gtest/gtest.h>
#include <kovax/source.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/database_builder.h"
#include "tests/support/plugin_library.h"
#include "tests/support/temp_directory.h"
#include "tests/support/trace_builder.h"
#include "tests/support/value_tests.h"
#include "tests/unit/decoder/stream.h"

namespace {

using kovax::json;
using test_support::plugin;

struct received {
  std::atomic<std::size_t> raw_bytes = 0;
  std::size_t decoded = 0;
  std::size_t foreign = 0;  // packets of another instance's trace
  std::string body;         // of this instance's packets
};

void take_packet(kovax_source*, void* user_data, kovax_stream_packet_t packet) {
  auto& to = *static_cast<received*>(user_data);
  if (packet.field_32 == 0) {
    to.raw_bytes += packet.data_size;
    return;
  }
  const std::string payload(reinterpret_cast<const char*>(packet.data), packet.data_size);
  ++(payload == to.body ? to.decoded : to.foreign);
}

class many_instances_test : public testing::Test, public test_support::given_value<std::size_t> {
 protected:
  static constexpr std::uint32_t frames = 2000;

  std::string write(const std::string& name, const std::string& content) const {
    return platform::path_to_utf8(directory_.write(name, content));
  }

  // A trace with `frames` packets of the body.
  static std::string trace_of(const std::string& body) {
    std::string trace;
    for (std::uint32_t i = 0; i < frames; ++i) {
      open_decoder::test::frame_fields frame;
      frame.sequence = i;
      frame.master_id = test_support::database_master;
      frame.payload =
          open_decoder::test::to_bytes(test_support::build_trace({.buffer_id = "1"}, body));
      const auto bytes = open_decoder::test::encode(frame);
      trace.append(bytes.begin(), bytes.end());
    }
    return trace;
  }

  kovax_source* init(const std::string& name, const std::string& trace) const {
    const std::string parameters =
        json{{"file_path", write(name, trace)}, {"db_file_path", database_}}.dump();
    const kovax_source_init_args arguments{parameters.c_str(), nullptr, nullptr, nullptr, nullptr};
    kovax_source* source = nullptr;
    EXPECT_EQ(plugin().init(&source, &arguments), 0);
    return source;
  }

 private:
  static json database() {
    json result = test_support::conversion_database();
    result["meta"]["connection_configs"]["dekodrix_config"] = json::parse(
        R"({"format": "veltra-frames", "version": 1, "masters": [{"id": 33, "aliases": []}]})");
    return result;
  }

  const test_support::temp_directory directory_;
  const std::string database_ = write("database.json", database().dump());
};

TEST_GIVEN(many_instances_test, get_each_its_own_packets_while_others_are_stopped) {
  struct life {
    kovax_source* source = nullptr;
    std::size_t size = 0;
    received packets;
    std::thread thread;
  };
  std::vector<life> lives(given());
  for (std::size_t i = 0; i < lives.size(); ++i) {
    lives[i].packets.body = "the IP packet of instance number " + std::to_string(i);
    const std::string trace = trace_of(lives[i].packets.body);
    lives[i].size = trace.size();
    lives[i].source = init(std::to_string(i) + ".bin", trace);
    ASSERT_NE(lives[i].source, nullptr);
  }
  for (life& each : lives) {
    each.thread = std::thread([&each] {
      // Stops cut a run short; the next one goes on.
      do {
        EXPECT_EQ(plugin().start(each.source, &each.packets, take_packet), 0);
      } while (each.packets.raw_bytes < each.size);
      EXPECT_EQ(plugin().start(each.source, &each.packets, take_packet), 0);
    });
  }
  for (int round = 0; round < 20; ++round) {
    for (const life& each : lives) EXPECT_EQ(plugin().stop(each.source), 0);
  }
  for (life& each : lives) {
    each.thread.join();
    // What a last stop left in the decoder.
    EXPECT_EQ(plugin().start(each.source, &each.packets, take_packet), 0);
    EXPECT_EQ(each.packets.raw_bytes, each.size);
    EXPECT_EQ(each.packets.decoded, frames);
    EXPECT_EQ(each.packets.foreign, 0U);
    EXPECT_EQ(plugin().release(each.source), 0);
  }
}

GIVEN(of, many_instances_test, {2, 8});

}  // namespace
