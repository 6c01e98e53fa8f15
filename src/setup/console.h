// The console: the one standard output of the process and its lock.
//
// Lines that must go out at once come from below the command layer too:
// the solver thread's progress, a warning of a tree build. They are
// written here, under OutputMutex; the shell's reply buffer, echo and
// redirection take the same mutex, so a message can fall between two
// replies but never inside one. The mutex comes last in every lock order:
// it encloses nothing but one write.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>

#include "setup/relaxed_setting.h"

extern std::mutex OutputMutex;

// "#" progress lines of the solver and of long passes; the solver thread
// reads it while the main thread may set it.
extern RelaxedSetting<bool> UiNotifications;

// Above 0 (the -v switch), timing and progress lines of long work go out
// beside the replies. Set at start-up, before any other thread exists.
extern int Verbosity;

// Formats straight to the standard output and flushes it, or, while a
// writer is set, hands the text to it: a server sends it to its client.
// Atomic, since the solver thread prints while the main thread sets it.
void PrintNow(const char* format, ...) __attribute__((format(printf, 1, 2)));
using MessageWriter = void (*)(const char* text, size_t length);
extern std::atomic<MessageWriter> PrintNowOutput;
