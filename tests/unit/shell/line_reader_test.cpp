// The bounded line reader and the two ways lines are run: the standard
// input drops an unterminated last line and skips an over-long one; a
// script runs its last line and stops at an over-long one.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "shell/script.h"

namespace {

TEST(ReadLine, BoundIsInclusiveAndEndsAreTold) {
  std::istringstream in("abc\nabcd\nabcde\n");
  std::string line;
  EXPECT_EQ(ReadLine(in, line, 4), LineStatus::Complete);
  EXPECT_EQ(line, "abc");
  EXPECT_EQ(ReadLine(in, line, 4), LineStatus::Complete);
  EXPECT_EQ(line, "abcd");
  EXPECT_EQ(ReadLine(in, line, 4), LineStatus::TooLong);

  std::istringstream tail("xy");
  EXPECT_EQ(ReadLine(tail, line, 4), LineStatus::Unterminated);
  EXPECT_EQ(line, "xy");
  EXPECT_EQ(ReadLine(tail, line, 4), LineStatus::NoLine);
  EXPECT_TRUE(line.empty());
}

std::string RunCaptured(const std::string& input, LineSource source) {
  std::istringstream in(input);
  testing::internal::CaptureStdout();
  try {
    RunLines(in, source);
  } catch (const std::runtime_error& error) {
    std::string output = testing::internal::GetCapturedStdout();
    return output + "thrown: " + error.what();
  }
  return testing::internal::GetCapturedStdout();
}

TEST(RunLines, OverLongLineIsSkippedOnInputAndStopsAScript) {
  const std::string tooLong(MaxLineLength + 1, 'x');
  // The longest line that still runs: "echo " and its token, MaxLineLength
  // bytes in all.
  const std::string longestToken(MaxLineLength - 5, 'y');
  const std::string input =
      "is_ready\n" + tooLong + "\necho " + longestToken + "\nis_ready\necho unterminated";

  EXPECT_EQ(RunCaptured(input, LineSource::StandardInput),
            "is_ready ok!\nERROR: line too long (over 1048576 bytes), ignored\n" + longestToken +
                "\nis_ready ok!\n");
  EXPECT_EQ(RunCaptured(input, LineSource::Script),
            "is_ready ok!\nthrown: ERROR: load_script line too long (over 1048576 bytes), script stopped\n");
  EXPECT_EQ(RunCaptured("is_ready\necho unterminated", LineSource::Script), "is_ready ok!\nunterminated\n");
}

}  // namespace
