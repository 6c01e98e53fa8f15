#include "setup/failure.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "setup/console.h"

void FailCommand(const std::string& detail) { throw CommandFailure(detail); }

void FatalError(const char* text) {
  if (text && *text) FatalLine("fail (%s)\n", text);
  FatalStop("fail\n");
}

void FatalLine(const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  FatalStop(line);
}

// The lock is kept until the end, so no other thread's line follows the
// last one.
void FatalStop(const char* line) {
  OutputMutex.lock();
  std::fputs(line, stdout);
  ExitProcess(1);
}

void ExitProcess(int status) {
  std::fflush(stdout);
  std::fflush(stderr);
  std::_Exit(status);
}
