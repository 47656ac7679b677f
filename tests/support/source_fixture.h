// source_fixture.h - what the tests over the exported functions have in common.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "implementation/json.h"
#include "tests/support/database_builder.h"
#include "tests/support/scripted_decoder.h"
#include "tests/support/source_session.h"
#include "tests/support/temp_directory.h"
#include "tests/support/trace_builder.h"

namespace test_support {

// One instance, the scripted decoder with an empty script, and a directory.
class source_fixture : public testing::Test {
 public:
  source_fixture() { decoder.clear(); }

 protected:
  scripted_decoder& decoder = scripted_decoder::instance();
  temp_directory directory;
  source_session session;

  // Writes files into the directory and returns their names as parameters.
  std::string write_trace(std::string_view bytes) const;
  std::string write_trace_of(std::size_t size) const;
  std::string write_database(const kovax::json& database) const;

  // Initialises and expects success.
  void open(const kovax::json& parameters);
  void open_trace(std::string_view bytes);
  // A trace file with a database.
  void open_decoding(std::string_view trace, const kovax::json& database = minimal_database());

  // Initialises, expects the one failure that init knows, and returns its text:
  // result 1, one error with code 1, no instance.
  std::string init_failure(const std::string& parameters);
  std::string init_failure(const kovax::json& parameters) {
    return init_failure(parameters.dump());
  }
  // The same for a database behind an empty trace file.
  std::string database_failure(const kovax::json& database);

  // Runs a one-byte trace with a database of this file name and returns the
  // metadata of the raw packet.
  std::string metadata_with_database(std::string_view name);

  // Lets the decoder hand out these traces of the database's master, one after
  // the other, behind a trace file of one byte, and returns what the host got
  // for them. The result of start is expected to be 0.
  std::vector<received_packet> convert(const kovax::json& database,
                                       const std::vector<std::string>& traces);
};

// `size` bytes without a short period.
std::string varied_bytes(std::size_t size);

}  // namespace test_support
