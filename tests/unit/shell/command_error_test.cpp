// A refusal raised below the handlers must print exactly the line the
// shell's own ThrowCommandError would: same words, same 255-character cut.
#include <gtest/gtest.h>

#include <string>

#include "shell/command_error.h"
#include "shell/shell_state.h"

namespace {

std::string ShellLine(const std::string& detail) {
  try {
    ThrowCommandError(detail);
  } catch (const CommandError& error) {
    return error.what();
  }
  return "no error";
}

TEST(CommandErrorLine, RefusalsFromBelowReadAsTheShellsOwn) {
  CurrentCommand = "build_tree";
  EXPECT_EQ(CommandErrorLine(CommandFailure("ranges not set")), "ERROR: build_tree ranges not set\n");
  EXPECT_EQ(CommandErrorLine(CommandFailure("invalid card", false)), "ERROR: invalid card\n");

  // "ERROR: build_tree " is 18 characters: 237 of the detail fit, the
  // line end doesn't.
  const std::string detail(300, 'x');
  const std::string line = CommandErrorLine(CommandFailure(detail));
  EXPECT_EQ(line, "ERROR: build_tree " + std::string(237, 'x'));
  EXPECT_EQ(line, ShellLine(detail));
  try {
    FailCommand("lines not set");
    ADD_FAILURE() << "FailCommand returned";
  } catch (const CommandFailure& failure) {
    EXPECT_EQ(CommandErrorLine(failure), ShellLine("lines not set"));
  }
}

}  // namespace
