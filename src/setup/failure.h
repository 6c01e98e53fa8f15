// The ways code below the command layer fails: a refusal of the command
// being run, or an end of the process.
//
// The layers below the shell know neither the command's word nor how an
// error line is printed, so a refusal carries only its detail. The shell,
// which knows both, catches CommandFailure where it catches CommandError and
// makes the same "ERROR: <command> <detail>" line of it.
#pragma once

#include <stdexcept>
#include <string>

struct CommandFailure : std::runtime_error {
  // namesCommand false: the line is "ERROR: <detail>", without the word.
  explicit CommandFailure(const std::string& detail, bool namesCommand = true)
      : std::runtime_error(detail), namesCommand(namesCommand) {}
  bool namesCommand;
};

// Refuses the command being run: "ERROR: <command> <detail>".
[[noreturn]] void FailCommand(const std::string& detail);

// For impossibilities no command can answer: prints "fail (text)" or "fail"
// and ends the process with status 1.
[[noreturn]] void FatalError(const char* text = nullptr);
// The same for an impossibility that has its own words for the client:
// prints `line` as it is and ends the process with status 1.
[[noreturn]] void FatalStop(const char* line);

// FatalStop with a formatted line: for stops whose words are not "fail",
// such as running out of memory where the solver's state would be lost.
// Both print under the console lock.
[[noreturn]] void FatalLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Ends the process at once with the given status after flushing the standard
// streams. Static destructors do not run: a solver thread may still be
// working on the globals they would destroy.
[[noreturn]] void ExitProcess(int status);
