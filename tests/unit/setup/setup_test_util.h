// Runs a set-up handler the way ExecuteCommand would and returns its reply.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/shell_state.h"
#include "shell/tokenize.h"

// CommandError and std::invalid_argument pass through to the test, and a
// CommandFailure from below the handler comes out as the CommandError of
// its line; on success the reply buffer is flushed into the returned text.
template <typename Handler>
std::string RunHandler(Handler handler, const Tokens& tokens) {
  CurrentCommand = tokens[0];
  try {
    handler(tokens);
  } catch (const CommandFailure& failure) {
    throw CommandError(CommandErrorLine(failure));
  }
  testing::internal::CaptureStdout();
  FlushReply();
  return testing::internal::GetCapturedStdout();
}

// Sets a global for the scope of one test (or only keeps it, without a
// value) and puts the old value back.
template <typename T>
class ScopedValue {
 public:
  explicit ScopedValue(T& target) : target_(target), saved_(target) {}
  ScopedValue(T& target, T value) : target_(target), saved_(target) { target_ = value; }
  ~ScopedValue() { target_ = saved_; }
  ScopedValue(const ScopedValue&) = delete;
  ScopedValue& operator=(const ScopedValue&) = delete;

 private:
  T& target_;
  T saved_;
};
