// archive_fixture.h - database archives in, names of the databases out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/source_fixture.h"
#include "tests/support/tar_builder.h"

class archive_fixture : public test_support::source_fixture {
 protected:
  using json = kovax::json;

  static constexpr auto not_gzip = "Invalid gzip data";
  static constexpr auto invalid_database = "Trace database has missing fields or is invalid";
  // What an archive without a database ends in.
  static constexpr auto no_database = "dekodrix config not found";

  static std::string database_named(const std::string& name) {
    auto database = test_support::minimal_database();
    database["meta"]["name"] = name;
    return database.dump();
  }

  json parameters(std::string_view bytes) {
    return {{"file_path", write_trace("")},
            {"db_file_path", directory.write("db.tar.gz", bytes).string()}};
  }

  // Opens a compressed archive and returns the names of the databases read.
  std::vector<std::string> names_in(const std::string& tar) {
    open(parameters(test_support::compress(tar)));
    return names();
  }

  std::vector<std::string> names() const {
    constexpr std::string_view label = "processed config json: ";
    std::vector<std::string> result;
    for (const auto& text : session.log_texts()) {
      EXPECT_EQ(text.substr(0, label.size()), label);
      result.push_back(text.substr(label.size()));
    }
    return result;
  }

  std::string failure_of(const std::string& tar) {
    return init_failure(parameters(test_support::compress(tar)));
  }
};
