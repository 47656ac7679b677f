#include "host/output/rotating_sink.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "host/output/pcapng_sink.h"
#include "host/output/raw_sink.h"
#include "host/run/outlet.h"
#include "host/user_error.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

std::string content_of(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::uint8_t> as_bytes(std::string_view text) {
  return {text.begin(), text.end()};
}

struct series {
  explicit series(const char* name) : base(directory.path() / name) {}

  rotating_sink::finished collect() {
    return [this](const piece& piece, const std::filesystem::path& path) {
      finished.emplace_back(piece.number, path);
    };
  }

  const test_support::temp_directory directory;
  const std::filesystem::path base;
  std::vector<std::pair<std::uint32_t, std::filesystem::path>> finished;
};

rotating_sink::factory raw_pieces() {
  return [](const std::filesystem::path& path, sink* /*previous*/) {
    return std::make_unique<raw_sink>(path);
  };
}

rotating_sink::factory pcapng_pieces() {
  return [](const std::filesystem::path& path, sink* previous) {
    auto made = std::make_unique<pcapng_sink>(path, pcapng_sink::settings{.is_live = true});
    if (previous != nullptr) made->continue_from(static_cast<pcapng_sink&>(*previous));
    return made;
  };
}

void write(sink& to, std::string_view layer, const std::vector<std::uint8_t>& bytes) {
  packet packet;
  packet.layer = layer;
  packet.payload = bytes;
  to.write(packet);
}

TEST(rotating_sink, raw_pieces_joined_are_the_whole_trace) {
  series raw("modem.trace");
  rotating_sink sink(raw.base, rotating_sink::content::raw, raw_pieces(), raw.collect());
  sink.begin();
  std::string sent;
  for (std::uint32_t number = 1; number <= 20; ++number) {
    sink.begin_piece({number, 1714564800 + number});
    for (std::uint32_t i = 0; i < number; ++i) {
      const std::string chunk = std::to_string(number * 1000 + i);
      sent += chunk;
      write(sink, raw_layer, as_bytes(chunk));
      write(sink, "at", as_bytes("decoded"));
    }
  }
  sink.finish();
  std::string joined;
  for (const auto& [number, path] : raw.finished) joined += content_of(path);
  EXPECT_EQ(joined, sent);
  ASSERT_EQ(raw.finished.size(), 20U);
  EXPECT_EQ(raw.finished[6].first, 7U);
  EXPECT_EQ(raw.finished[6].second, piece_path(raw.base, {7, 1714564807}));
  EXPECT_EQ(sink.bytes(), sent.size());
  EXPECT_EQ(sink.name(), (raw.directory.path() / "modem_*.trace").string() + " (20 files)");
}

TEST(rotating_sink, a_piece_without_packets_leaves_no_file) {
  series capture("modem.pcapng");
  rotating_sink sink(capture.base, rotating_sink::content::decoded, pcapng_pieces(),
                     capture.collect());
  sink.begin();
  sink.begin_piece({1, 0});
  write(sink, raw_layer, as_bytes("bytes"));
  sink.begin_piece({2, 0});
  write(sink, "at", as_bytes("OK"));
  sink.end_piece();
  sink.finish();
  ASSERT_EQ(capture.finished.size(), 1U);
  EXPECT_EQ(capture.finished[0].first, 2U);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(capture.directory.path()), {}), 1);
}

TEST(rotating_sink, each_capture_is_complete_by_itself) {
  series capture("modem.pcapng");
  rotating_sink sink(capture.base, rotating_sink::content::decoded, pcapng_pieces(),
                     capture.collect());
  sink.begin();
  for (std::uint32_t number = 1; number <= 2; ++number) {
    sink.begin_piece({number, number});
    if (number == 2) sink.add_remark("the port was lost for 3 seconds");
    write(sink, "at", as_bytes("AT+CSQ"));
  }
  sink.finish();
  ASSERT_EQ(capture.finished.size(), 2U);
  for (const auto& [number, path] : capture.finished) {
    const std::string bytes = content_of(path);
    EXPECT_EQ(bytes.substr(0, 4), "\x0a\x0d\x0d\x0a");
    EXPECT_NE(bytes.find("AT commands, answers"), std::string::npos);
    EXPECT_NE(bytes.find("AT+CSQ"), std::string::npos);
    EXPECT_EQ(bytes.find("the port was lost") != std::string::npos, number == 2);
  }
}

TEST(rotating_sink, a_capture_has_the_secrets_of_sessions_that_began_in_the_one_before) {
  series capture("modem.pcapng");
  rotating_sink sink(capture.base, rotating_sink::content::decoded, pcapng_pieces(),
                     capture.collect());
  sink.begin();
  const std::vector<std::uint8_t> early_random(64, 0x11);
  const std::vector<std::uint8_t> early_master(48, 0x22);
  const std::vector<std::uint8_t> split_random(64, 0x33);
  const std::vector<std::uint8_t> split_master(48, 0x44);
  sink.begin_piece({1, 0});
  write(sink, "handshake_randbytes", early_random);
  write(sink, "session_master", early_master);
  write(sink, "handshake_randbytes", split_random);
  sink.begin_piece({2, 0});
  write(sink, "session_master", split_master);
  sink.finish();
  ASSERT_EQ(capture.finished.size(), 2U);
  const std::string first = content_of(capture.finished[0].second);
  const std::string second = content_of(capture.finished[1].second);
  const auto line = [](const char* random, const char* master) {
    std::string text = "CLIENT_RANDOM ";
    for (int i = 0; i < 32; ++i) text += random;
    text += ' ';
    for (int i = 0; i < 48; ++i) text += master;
    return text + '\n';
  };
  EXPECT_NE(first.find(line("11", "22")), std::string::npos);
  EXPECT_NE(second.find(line("11", "22")), std::string::npos);
  EXPECT_NE(second.find(line("33", "44")), std::string::npos);
  EXPECT_EQ(second.find("without a"), std::string::npos);
}

// The size of a piece before it would end the one after it, too.
TEST(rotating_sink, the_size_of_a_piece_is_not_that_of_another) {
  series raw("modem.trace");
  rotating_sink sink(raw.base, rotating_sink::content::raw, raw_pieces(), raw.collect());
  sink.begin();
  sink.begin_piece({1, 0});
  write(sink, raw_layer, as_bytes("bytes"));
  EXPECT_EQ(sink.piece_bytes(1), 5U);
  EXPECT_EQ(sink.piece_bytes(2), 0U);
  sink.begin_piece({2, 0});
  EXPECT_EQ(sink.piece_bytes(2), 0U);
  EXPECT_EQ(sink.bytes(), 5U);
}

TEST(rotating_sink, a_directory_that_is_not_there_is_refused_at_once) {
  series raw("none/modem.trace");
  EXPECT_THROW(rotating_sink(raw.base, rotating_sink::content::raw, raw_pieces(), raw.collect()),
               user_error);
}

TEST(outlet, hands_boundaries_on_in_their_place_between_packets) {
  for (const delivery how : {delivery::direct, delivery::waiting, delivery::dropping}) {
    series raw("modem.trace");
    rotating_sink sink(raw.base, rotating_sink::content::raw, raw_pieces(), raw.collect());
    sink.begin();
    outlet outlet(sink, how);
    outlet.start();
    packet packet;
    packet.layer = raw_layer;
    for (std::uint32_t number = 1; number <= 30; ++number) {
      outlet.push(boundary{piece{number, 0}, {}});
      const std::vector<std::uint8_t> bytes = as_bytes(std::to_string(number));
      packet.payload = bytes;
      outlet.push(packet);
    }
    outlet.push(boundary{});
    outlet.finish();
    ASSERT_EQ(outlet.failure(), nullptr);
    ASSERT_EQ(raw.finished.size(), 30U);
    for (const auto& [number, path] : raw.finished) {
      EXPECT_EQ(content_of(path), std::to_string(number));
    }
  }
}

TEST(outlet, never_misses_a_boundary_when_its_queue_is_full) {
  series raw("modem.trace");
  rotating_sink sink(raw.base, rotating_sink::content::raw, raw_pieces(), raw.collect());
  sink.begin();
  outlet outlet(sink, delivery::dropping, 1);
  const std::vector<std::uint8_t> bytes = as_bytes("first");
  packet packet;
  packet.layer = raw_layer;
  packet.payload = bytes;
  outlet.push(boundary{piece{1, 0}, {}});
  outlet.push(packet);
  outlet.push(packet);
  outlet.push(boundary{piece{2, 0}, {}});
  outlet.start();
  outlet.finish();
  EXPECT_EQ(outlet.missed(), 1U);
  ASSERT_EQ(raw.finished.size(), 1U);
  EXPECT_EQ(raw.finished[0].first, 1U);
}

}  // namespace
}  // namespace veltra::host
