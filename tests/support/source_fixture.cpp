#include "tests/support/source_fixture.h"

#include "platform/file.h"

namespace test_support {

std::string source_fixture::write_trace(std::string_view bytes) const {
  return platform::path_to_utf8(directory.write("trace.bin", bytes));
}

std::string source_fixture::write_trace_of(std::size_t size) const {
  return write_trace(varied_bytes(size));
}

std::string source_fixture::write_database(const kovax::json& database) const {
  return platform::path_to_utf8(directory.write("db.json", database.dump()));
}

void source_fixture::open(const kovax::json& parameters) {
  const auto result = session.init(parameters);
  ASSERT_EQ(result, 0) << (session.errors.empty() ? "no error was reported"
                                                  : session.errors.front().message);
  ASSERT_NE(session.handle(), nullptr);
  ASSERT_TRUE(session.errors.empty());
}

void source_fixture::open_trace(std::string_view bytes) {
  open({{"file_path", write_trace(bytes)}});
}

void source_fixture::open_decoding(std::string_view trace, const kovax::json& database) {
  open({{"file_path", write_trace(trace)}, {"db_file_path", write_database(database)}});
}

std::string source_fixture::init_failure(const std::string& parameters) {
  EXPECT_EQ(session.init(parameters), 1);
  EXPECT_EQ(session.handle(), nullptr) << "the out pointer was written";
  if (session.errors.size() != 1) {
    ADD_FAILURE() << session.errors.size() << " errors were reported";
    return {};
  }
  EXPECT_EQ(session.errors.front().code, 1);
  return session.errors.front().message;
}

std::string source_fixture::database_failure(const kovax::json& database) {
  return init_failure({{"file_path", write_trace("")}, {"db_file_path", write_database(database)}});
}

std::string source_fixture::metadata_with_database(std::string_view name) {
  const auto path = directory.write(name, minimal_database().dump());
  open({{"file_path", write_trace("x")}, {"db_file_path", platform::path_to_utf8(path)}});
  if (HasFatalFailure()) return {};
  EXPECT_EQ(session.start(), 0);
  return session.packets.at(0).metadata;
}

std::vector<received_packet> source_fixture::convert(const kovax::json& database,
                                                     const std::vector<std::string>& traces) {
  for (const auto& trace : traces) decoder.add_trace(1, database_master, trace, 1);
  open_decoding("x", database);
  if (HasFatalFailure()) return {};
  const auto result = session.start();
  EXPECT_EQ(result, 0) << session.last_error().message;
  return session.decoded();
}

std::string varied_bytes(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint32_t state = 1;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

}  // namespace test_support
