#include "host/report/tshark_reader.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_directory.h"

namespace veltra::report {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A shell script in the place of tshark.
class tshark_reader_test : public testing::Test {
 protected:
  std::filesystem::path program(const std::string& body) {
    const std::filesystem::path path = directory_.write("tshark", "#!/bin/sh\n" + body);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }

  // Reads frames until there is none, as "number:info".
  std::vector<std::string> read(tshark_reader& reader) {
    std::vector<std::string> result;
    field_values fields;
    while (const auto number = reader.next(fields)) {
      result.push_back(std::to_string(*number) + ":" +
                       std::string(fields.text(field::info_column)));
    }
    return result;
  }

  test_support::temp_directory directory_;
};

TEST_F(tshark_reader_test, takes_fields_of_each_frame) {
  tshark_reader reader(program(R"(
echo '{"index":{"_index":"packets-1970-01-01","_type":"doc"}}'
echo '{"layers":{"frame_number":["1"],"_ws_col_Info":["Attach request"],"nas_eps_nas_msg_emm_type":["0x41"],"lte-rrc_mmec":["07","31"]}}'
echo '{"layers":{"frame_number":["2"]}}'
)"),
                       "any.pcapng");
  field_values fields;
  EXPECT_EQ(reader.next(fields), 1U);
  EXPECT_EQ(fields.text(field::info_column), "Attach request");
  EXPECT_EQ(fields.number(field::nas_emm_type), 0x41U);
  EXPECT_THAT(fields.texts(field::rrc_mmec), ElementsAre("07", "31"));
  EXPECT_EQ(reader.next(fields), 2U);
  EXPECT_FALSE(fields.has(field::info_column));
  EXPECT_EQ(reader.next(fields), std::nullopt);
  EXPECT_EQ(reader.failure(), "");
  EXPECT_THAT(reader.unknown_fields(), IsEmpty());
}

TEST_F(tshark_reader_test, asks_again_without_the_fields_that_it_does_not_know) {
  tshark_reader reader(program(R"(
case " $* " in
*" lte-rrc.mmec "*)
  printf "Running as user \"root\".\ntshark: Some fields aren't valid:\n\tlte-rrc.mmec\n\tip.src\n" >&2
  exit 1;;
esac
case " $* " in *" ip.src "*) exit 9;; esac
echo '{"layers":{"frame_number":["1"],"_ws_col_Info":["x"]}}'
)"),
                       "any.pcapng");
  EXPECT_THAT(read(reader), ElementsAre("1:x"));
  EXPECT_THAT(reader.unknown_fields(), ElementsAre("lte-rrc.mmec", "ip.src"));
  EXPECT_EQ(reader.failure(), "");
}

TEST_F(tshark_reader_test, keeps_what_came_before_a_failure) {
  tshark_reader reader(program(R"(
echo '{"layers":{"frame_number":["1"],"_ws_col_Info":["x"]}}'
echo 'tshark: The file appears to have been cut short.' >&2
exit 2
)"),
                       "any.pcapng");
  EXPECT_THAT(read(reader), ElementsAre("1:x"));
  EXPECT_EQ(reader.failure(), "tshark: The file appears to have been cut short.");
}

TEST_F(tshark_reader_test, reports_a_program_that_was_killed_without_a_word) {
  tshark_reader reader(program("kill -9 $$\n"), "any.pcapng");
  EXPECT_THAT(read(reader), IsEmpty());
  EXPECT_EQ(reader.failure(), "it was killed");
}

TEST_F(tshark_reader_test, passes_over_lines_that_are_not_frames) {
  tshark_reader reader(program(R"(
echo 'no JSON'
echo '{"layers":[]}'
echo '{"layers":{"frame_number":["one"]}}'
echo '{"layers":{"frame_number":"1"}}'
echo '{"layers":{"frame_number":["7"],"_ws_col_Info":[{"nested":1}]}}'
)"),
                       "any.pcapng");
  EXPECT_THAT(read(reader), ElementsAre("7:"));
}

TEST_F(tshark_reader_test, does_not_keep_a_line_without_an_end) {
  tshark_reader reader(program("head -c 40000000 /dev/zero\n"), "any.pcapng");
  EXPECT_THAT(read(reader), IsEmpty());
  EXPECT_EQ(reader.failure(), "");
}

TEST_F(tshark_reader_test, gives_the_capture_as_one_argument_and_asks_no_network) {
  tshark_reader reader(program(R"(
[ "$1" = -n ] && [ "$2" = -r ] || exit 1
printf '{"layers":{"frame_number":["1"],"_ws_col_Info":["%s"]}}\n' "$3"
)"),
                       "a name with 'quotes' and $HOME.pcapng");
  EXPECT_THAT(read(reader), ElementsAre("1:a name with 'quotes' and $HOME.pcapng"));
}

TEST_F(tshark_reader_test, knows_the_version) {
  EXPECT_EQ(tshark_version(program(
                "echo 'TShark (Wireshark) 4.0.17 (Git v4.0.17 packaged as 4.0.17-0+deb12u3).'")),
            "4.0.17");
  EXPECT_EQ(tshark_version(program("echo something else")), "");
  EXPECT_EQ(tshark_version("/nonexistent/tshark"), "");
}

TEST_F(tshark_reader_test, finds_only_programs) {
  EXPECT_EQ(find_tshark("/bin/sh"), "/bin/sh");
  EXPECT_TRUE(find_tshark("/nonexistent/tshark").empty());
}

}  // namespace
}  // namespace veltra::report
