// The example in docs/database-format.md does what the page says.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/database_reader.h"
#include "plugin/source_properties.h"
#include "plugin/trace_db.h"
#include "plugin/trace_db_config.h"

namespace veltra {
namespace {

std::string page() {
  std::ifstream file(std::filesystem::path(VELTRA_DOCS) / "database-format.md", std::ios::binary);
  EXPECT_TRUE(file.is_open());
  return {std::istreambuf_iterator<char>(file), {}};
}

// The text of the first JSON block.
std::string example(const std::string& text) {
  constexpr std::string_view opening = "```json\n";
  const std::size_t begin = text.find(opening) + opening.size();
  return text.substr(begin, text.find("```", begin) - begin);
}

// The cells of a table's row, without blanks and back quotes around them.
std::vector<std::string> cells_of(const std::string& row) {
  std::vector<std::string> cells;
  std::istringstream columns(row.substr(1));
  for (std::string cell; std::getline(columns, cell, '|');) {
    const std::size_t begin = cell.find_first_not_of(" `");
    const std::size_t end = cell.find_last_not_of(" `");
    cells.push_back(begin == std::string::npos ? "" : cell.substr(begin, end - begin + 1));
  }
  return cells;
}

std::string bytes_of(const std::string& hexadecimal) {
  std::string bytes;
  std::istringstream numbers(hexadecimal);
  for (unsigned number = 0; numbers >> std::hex >> number;) {
    bytes.push_back(static_cast<char>(number));
  }
  return bytes;
}

std::string described(std::string_view layer, std::string_view category, std::string_view payload) {
  std::string text;
  return text.append(layer).append(" ").append(category).append(" ").append(payload);
}

// The records that processing the example gives.
database_collection processed_example(const std::string& text) {
  database_collection collection;
  const std::string bytes = example(text);
  extract_database_texts(bytes, false, bytes.size(), [&](const std::string& database) {
    process_database_text(collection, {}, database);
  });
  return collection;
}

TEST(documented_database, has_its_uuid_and_a_configuration_that_the_open_decoder_takes) {
  const database_collection collection = processed_example(page());
  EXPECT_EQ(collection.uuid, "3f2504e0-4f89-41d3-9a0c-0305e82c3301");
  const auto configuration = collection.find_decoder_config("MCU");
  ASSERT_TRUE(configuration);
  dekodrix* const decoder = dekodrix_new();
  ASSERT_NE(decoder, nullptr);
  EXPECT_TRUE(
      dekodrix_set_configuration_json(decoder, configuration->data(), configuration->size()));
  dekodrix_delete(decoder);
}

TEST(documented_database, turns_each_trace_of_the_table_into_its_packet) {
  const std::string text = page();
  database_collection collection = processed_example(text);

  std::size_t rows = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("| `") || line.find("` | ") == std::string::npos) continue;
    const std::vector<std::string> cells = cells_of(line);
    if (cells.size() != 5) continue;
    ++rows;
    std::string trace = bytes_of(cells[0]);
    const std::string expected =
        cells[1] == "none" ? "" : described(cells[1], cells[2], bytes_of(cells[3]));
    for (const std::uint32_t master : {3U, 19U, 35U}) {
      std::string made;
      const dekodrix_trace record{master, 0, 0, reinterpret_cast<std::uint8_t*>(trace.data()),
                                  trace.size()};
      auto* const config = collection.find_config_for_master(master);
      ASSERT_NE(config, nullptr);
      if (const auto packet = convert_trace(*config, record)) {
        made = described(packet->format, packet->category,
                         {reinterpret_cast<const char*>(packet->data), packet->data_size});
      }
      EXPECT_EQ(made, expected) << line;
    }
  }
  EXPECT_EQ(rows, 10U);
}

}  // namespace
}  // namespace veltra
