// The shell's process-wide state: the switches of the command line, the
// command being run and the label a script is skipping to.
//
// All of it belongs to the main thread, which is the only thread that runs
// commands; no lock guards it.
#pragma once

#include <cstdint>
#include <string>

#include "setup/console.h"

extern bool EchoCommands;
extern bool ColorText;
extern bool TerminateOnError;
extern bool SuppressOk;
extern bool CompactMessages;

// Clock at start-up in 100-nanosecond ticks; solver_time counts from it.
extern int64_t StartTicks;

// The word of the command being run, kept after it ends: error lines name it.
extern std::string CurrentCommand;

// While not empty, lines are skipped until "LABEL: <SkipLabel>".
extern std::string SkipLabel;

// Monotonic clock in 100-nanosecond ticks.
int64_t ClockTicks();

// The build the variables "build", "build_date" and "build_time" report.
inline constexpr const char* BuildText = "1061";
inline constexpr const char* BuildDate = "Sep 14 2020";
inline constexpr const char* BuildTime = "14:06:34";
