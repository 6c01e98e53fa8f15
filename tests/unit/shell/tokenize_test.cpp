#include "shell/tokenize.h"

#include <gtest/gtest.h>

namespace {

TEST(Tokenize, BlanksQuotesAndEmptyTokens) {
  struct Case {
    const char* line;
    Tokens expected;
  };
  const Case cases[] = {
      {"", {}},
      {"    ", {}},
      {"is_ready", {"is_ready"}},
      {"  set_threads   4  ", {"set_threads", "4"}},
      // A tab is an ordinary character, not a separator.
      {"a\tb c", {"a\tb", "c"}},
      // An opening quote keeps what stands before it; a closing quote ends
      // the token even without a blank.
      {"ab\"c d\"e", {"abc d", "e"}},
      {"\"\"", {}},
      {"x \"\" y", {"x", "y"}},
      {"add_info_line \"two words\"", {"add_info_line", "two words"}},
      // The end of the line ends an open quote.
      {"echo \"open quote", {"echo", "open quote"}},
      {"\"a\"\"b\"", {"a", "b"}},
      {"#comment \"x y\"", {"#comment", "x y"}},
  };
  for (const Case& c : cases) EXPECT_EQ(Tokenize(c.line), c.expected) << "line: " << c.line;
}

TEST(Tokenize, JoinShowsNoQuotes) {
  EXPECT_EQ(JoinTokens(Tokenize("echo \"a  b\" c")), "echo a  b c");
  EXPECT_EQ(JoinTokens(Tokenize("repeat 2 x y"), 2), "x y");
  EXPECT_EQ(JoinTokens({}), "");
}

}  // namespace
