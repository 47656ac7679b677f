// secret_slots_fixture.h - a capture of nothing but packets and secrets.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "host/output/pcapng_blocks.h"
#include "host/output/secret_slots.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"

namespace veltra::host {

class secret_slots_test : public testing::Test {
 protected:
  secret_slots_test() {
    std::string block;
    pcapng::append_section_header(block, "", "");
    file_.write(block);
  }

  // An IP packet, for which an interface stands here.
  void packet() {
    slots_.before_ip_packet({});
    std::string block;
    pcapng::append_interface(block, pcapng::link_type_raw_ip, "ip", "");
    file_.write(block);
  }

  // The key material of session `number`.
  void secrets(std::size_t number) {
    std::array<std::uint8_t, 64> bytes{};
    for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(number >> 8 * i);
    key_log_.add_randbytes(bytes);
    slots_.random_bytes_came();
    key_log_.add_session_master(std::span(bytes).first(48));
    slots_.master_came();
  }

  // A comment of exactly `size` bytes, an even number.
  void comment(std::size_t size) {
    // Label and LF, and two digits a byte.
    const std::size_t fixed = std::string("# handshake_randbytes of a wrong size: \n").size();
    key_log_.add_randbytes(std::vector<std::uint8_t>((size - fixed) / 2));
    slots_.random_bytes_came();
  }

  std::vector<capture_block> written() {
    slots_.finish();
    file_.commit();
    return read_blocks(content(path_));
  }

  test_support::temp_directory directory_;
  const std::filesystem::path path_ = directory_.path() / "out";
  output_file file_{path_, output_file::access::random};
  tls_key_log key_log_;
  secret_slots slots_{file_, key_log_};
};

// H header, I packet, K secrets, - an empty slot.
inline std::string order(const std::vector<capture_block>& blocks) {
  std::string text;
  for (const capture_block& block : blocks) {
    text += block.type == pcapng::section_header_type          ? 'H'
            : block.type == pcapng::interface_description_type ? 'I'
            : block.type == pcapng::decryption_secrets_type    ? 'K'
            : block.type == pcapng::skipped_block_type         ? '-'
                                                               : '?';
  }
  return text;
}

// The lines of a key log but for the filling.
inline std::string lines(const capture_block& block) {
  std::istringstream text(block.key_log());
  std::string kept;
  for (std::string line; std::getline(text, line);) {
    if (line != std::string(line.size(), '#')) kept += line + "\n";
  }
  return kept;
}

}  // namespace veltra::host
