#include "shell/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <algorithm>
#include <cstdio>

#include "shell/shell_state.h"

bool ShowHashLines = false;
std::vector<std::string> TreeInfoLines;
ReplyWriter ReplyOutput = nullptr;

namespace {

std::string ReplyBuffer;
int StartupOutputFd = -1;
bool OutputRedirected = false;

std::string FormatV(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  char small[512];
  int length = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (length < 0) return {};
  if (size_t(length) < sizeof small) return std::string(small, size_t(length));
  // Long replies (1326-entry lists) get a buffer of their own size, so no
  // reply is ever cut.
  std::string text(size_t(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

// Writes the non-empty lines of the first `length` bytes and removes them.
void WriteLines(size_t length) {
  if (ReplyOutput) {
    std::string lines;
    for (size_t start = 0; start < length;) {
      size_t end = std::min(ReplyBuffer.find('\n', start), length);
      if (end > start) lines.append(ReplyBuffer, start, end - start).push_back('\n');
      start = end + 1;
    }
    ReplyBuffer.erase(0, length);
    ReplyOutput(lines);
    return;
  }
  std::lock_guard<std::mutex> lock(OutputMutex);
  size_t start = 0;
  while (start < length) {
    size_t end = ReplyBuffer.find('\n', start);
    if (end == std::string::npos || end > length) end = length;
    if (end > start) {
      std::fwrite(ReplyBuffer.data() + start, 1, end - start, stdout);
      std::fputc('\n', stdout);
    }
    start = end + 1;
  }
  ReplyBuffer.erase(0, length);
}

// Only whole lines go early: the line being written may still grow.
void WriteIfLarge() {
  if (ReplyBuffer.size() < ReplyFlushBytes) return;
  const size_t lastLineFeed = ReplyBuffer.rfind('\n');
  if (lastLineFeed != std::string::npos) WriteLines(lastLineFeed + 1);
}

}  // namespace

void PrintReply(const char* format, ...) {
  if (format[0] == '#' && !ShowHashLines) return;
  va_list args;
  va_start(args, format);
  ReplyBuffer += FormatV(format, args);
  va_end(args);
  WriteIfLarge();
}

void PrintReplyText(std::string_view text) {
  if (!text.empty() && text[0] == '#' && !ShowHashLines) return;
  ReplyBuffer += text;
  WriteIfLarge();
}

void FlushReply() {
  if (ReplyBuffer.empty()) return;
  WriteLines(ReplyBuffer.size());
  ShowHashLines = false;
}

size_t PendingReplyBytes() { return ReplyBuffer.size(); }

void DiscardReply() { std::string().swap(ReplyBuffer); }

void ReplyOk(const Tokens& tokens) {
  if (!SuppressOk) PrintReply("%s ok!\n", tokens[0].c_str());
}

void SetTextColor(int attribute) {
  if (!ColorText || OutputRedirected) return;
  const char* sequence = "\033[0m";
  switch (attribute) {
    case 2: sequence = "\033[32m"; break;
    case 3: sequence = "\033[36m"; break;
    case 4: sequence = "\033[31m"; break;
    case 5: sequence = "\033[35m"; break;
    default: break;
  }
  std::lock_guard<std::mutex> lock(OutputMutex);
  std::fputs(sequence, stdout);
}

void SaveStartupOutput() {
  if (StartupOutputFd < 0) StartupOutputFd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
}

// The standard output keeps file descriptor 1 throughout: the file is
// duplicated onto it, so every writer of stdout follows the redirection.
bool RedirectOutput(const std::string& path, bool append) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC), 0644);
  if (fd < 0) return false;
  std::lock_guard<std::mutex> lock(OutputMutex);
  std::fflush(stdout);
  bool ok = dup2(fd, STDOUT_FILENO) >= 0;
  close(fd);
  if (ok) OutputRedirected = true;
  return ok;
}

bool RestoreStartupOutput() {
  if (StartupOutputFd < 0) return false;
  std::lock_guard<std::mutex> lock(OutputMutex);
  std::fflush(stdout);
  if (dup2(StartupOutputFd, STDOUT_FILENO) < 0) return false;
  OutputRedirected = false;
  return true;
}
