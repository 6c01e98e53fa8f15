#include "setup/console.h"

#include <cstdarg>
#include <cstdio>
#include <string>

std::mutex OutputMutex;
RelaxedSetting<bool> UiNotifications = false;
int Verbosity = 0;

std::atomic<MessageWriter> PrintNowOutput = nullptr;

void PrintNow(const char* format, ...) {
  va_list args;
  va_start(args, format);
  if (MessageWriter writer = PrintNowOutput.load()) {
    char small[512];
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (length >= 0 && size_t(length) < sizeof small) {
      writer(small, size_t(length));
    } else if (length >= 0) {
      std::string text(size_t(length), '\0');
      std::vsnprintf(text.data(), text.size() + 1, format, args);
      writer(text.data(), text.size());
    }
    va_end(args);
    return;
  }
  std::lock_guard<std::mutex> lock(OutputMutex);
  std::vfprintf(stdout, format, args);
  std::fflush(stdout);
  va_end(args);
}
