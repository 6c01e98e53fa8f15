// How the shell reads its words: tokens of a line, numbers within tokens,
// and the text of a --var option. Quotes, substitution and default values
// show in the shell_tokenizer, shell_substitution and shell_variables
// transcripts; these are the cases no reply shows whole.
#include "shell/parse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "shell/tokenize.h"
#include "shell/variables.h"

namespace {

TEST(Tokenize, EmptyTokensAndQuotesInsideCommentsAndWords) {
  struct Case {
    const char* line;
    Tokens expected;
  };
  const Case cases[] = {
      {"", {}},
      {"    ", {}},
      {"\"\"", {}},
      {"\"a\"\"b\"", {"a", "b"}},
      {"#comment \"x y\"", {"#comment", "x y"}},
      {"add_info_line \"two words\"", {"add_info_line", "two words"}},
  };
  for (const Case& c : cases) EXPECT_EQ(Tokenize(c.line), c.expected) << "line: " << c.line;
}

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

TEST(Variables, OptionTextNeedsExactlyTwoNonEmptyFields) {
  EXPECT_TRUE(SetVariableFromOption("vt_o=5"));
  EXPECT_EQ(Variables.Get("vt_o"), "5");
  // A trailing empty field is no field.
  EXPECT_TRUE(SetVariableFromOption("vt_p=6="));
  EXPECT_EQ(Variables.Get("vt_p"), "6");
  for (const char* bad : {"", "vt_q", "=1", "vt_q=", "vt_q==1", "a=b=c", "="})
    EXPECT_FALSE(SetVariableFromOption(bad)) << bad;
  EXPECT_FALSE(Variables.Get("vt_q").has_value());
}

}  // namespace
