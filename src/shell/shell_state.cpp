#include "shell/shell_state.h"

#include <time.h>

bool EchoCommands = false;
bool ColorText = false;
bool TerminateOnError = false;
bool SuppressOk = false;
bool CompactMessages = false;
int64_t StartTicks = 0;
std::string CurrentCommand;
std::string SkipLabel;

int64_t ClockTicks() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t(now.tv_sec) * 10000000 + now.tv_nsec / 100;
}
