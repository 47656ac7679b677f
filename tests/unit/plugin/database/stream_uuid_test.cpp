#include "plugin/database/stream_uuid.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace veltra {
namespace {

TEST(stream_uuid, is_found_wherever_the_stream_is_cut) {
  const std::string uuid = "3f2504e0-4f89-41d3-9a0c-0305e82c3301";
  for (const std::size_t before : {std::size_t{0}, std::size_t{65490}, std::size_t{65530},
                                   std::size_t{65536}, std::size_t{200000}}) {
    const std::string stream = std::string(before, 'x') + "UID %s " + uuid + "yy";
    for (const std::size_t step : {std::size_t{1000}, std::size_t{65536}, stream.size()}) {
      stream_uuid search;
      for (std::size_t at = 0; at < stream.size(); at += step) {
        search.take(std::string_view(stream).substr(at, step));
      }
      EXPECT_EQ(search.result(), uuid) << before << " bytes before, in steps of " << step;
    }
  }
  stream_uuid none;
  none.take(std::string(300000, 'U'));
  EXPECT_EQ(none.result(), std::nullopt);
}

}  // namespace
}  // namespace veltra
