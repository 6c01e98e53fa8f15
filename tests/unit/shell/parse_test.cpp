#include "shell/parse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "shell/command_error.h"

namespace {

TEST(Parse, LeadingNumberIsReadAndRestIgnored) {
  EXPECT_EQ(ParseInt("12abc"), 12);
  EXPECT_EQ(ParseInt("  -7"), -7);
  EXPECT_EQ(ParseInt("+3.9"), 3);
  EXPECT_EQ(ParseInt("2147483647"), 2147483647);
  EXPECT_DOUBLE_EQ(ParseDouble("0.005fraction"), 0.005);
  EXPECT_DOUBLE_EQ(ParseDouble("1e3"), 1000.0);
  EXPECT_TRUE(std::isinf(ParseDouble("inf")));
  EXPECT_TRUE(std::isnan(ParseDouble("nan")));
}

TEST(Parse, NoNumberOrOutOfRangeIsInvalidArgument) {
  for (const char* bad : {"", "abc", "-", " x1", "2147483648", "-2147483649", "99999999999999999999"})
    EXPECT_THROW(ParseInt(bad), std::invalid_argument) << bad;
  for (const char* bad : {"", "abc", ".", "1e999", "-1e999"})
    EXPECT_THROW(ParseDouble(bad), std::invalid_argument) << bad;
}

TEST(Parse, OnOffTakesExactlyZeroOrOne) {
  EXPECT_TRUE(ParseOnOff({"enable_avx512", "1"}, 1));
  EXPECT_FALSE(ParseOnOff({"enable_avx512", "0"}, 1));
  for (const char* bad : {"2", "01", "on", "1 ", ""}) {
    try {
      ParseOnOff({"enable_avx512", bad}, 1);
      ADD_FAILURE() << "accepted " << bad;
    } catch (const CommandError& error) {
      EXPECT_STREQ(error.what(), "ERROR: enable_avx512 incorrect or missing argument\n");
    }
  }
}

}  // namespace
