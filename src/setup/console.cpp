#include "setup/console.h"

#include <cstdarg>
#include <cstdio>

std::mutex OutputMutex;
RelaxedSetting<bool> UiNotifications = false;
int Verbosity = 0;

void PrintNow(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::lock_guard<std::mutex> lock(OutputMutex);
  std::vfprintf(stdout, format, args);
  std::fflush(stdout);
  va_end(args);
}
