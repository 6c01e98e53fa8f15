#include "shell/variables.h"

#include <gtest/gtest.h>

namespace {

TEST(Variables, SubstitutionReplacesWholeTokensOnly) {
  Variables.Set("vt_a", "value with blanks");
  Variables.Set("vt_b", "$vt_a");
  Tokens out = SubstituteVariables({"echo", "$vt_a", "x$vt_a", "$", "$vt_missing", "$vt_b"});
  EXPECT_EQ(out, (Tokens{"echo", "value with blanks", "x$vt_a", "$", "$vt_missing", "$vt_a"}));
  // One more pass resolves the second level, and no further.
  EXPECT_EQ(SubstituteVariables(out)[5], "value with blanks");
  // Comment lines are left alone.
  EXPECT_EQ(SubstituteVariables({"#c", "$vt_a"}), (Tokens{"#c", "$vt_a"}));
}

TEST(Variables, DefaultKeepsExistingValue) {
  Variables.Set("vt_d", "1");
  Variables.SetDefault("vt_d", "2");
  Variables.SetDefault("vt_e", "3");
  EXPECT_EQ(Variables.Get("vt_d"), "1");
  EXPECT_EQ(Variables.Get("vt_e"), "3");
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
