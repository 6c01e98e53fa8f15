#include "setup/failure.h"

#include <cstdio>
#include <cstdlib>

void FailCommand(const std::string& detail) { throw CommandFailure(detail); }

void FatalError(const char* text) {
  if (text && *text)
    std::printf("fail (%s)\n", text);
  else
    std::printf("fail\n");
  ExitProcess(1);
}

void FatalStop(const char* line) {
  std::fputs(line, stdout);
  ExitProcess(1);
}

void ExitProcess(int status) {
  std::fflush(stdout);
  std::fflush(stderr);
  std::_Exit(status);
}
