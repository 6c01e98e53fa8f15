// CommandTable: the whole protocol at a glance.
//
// One constant array, searched from the start by exact, case-sensitive
// comparison. tokenCount counts the command word; -1 means the handler
// checks its own arguments.
#pragma once

#include <cstddef>
#include <string_view>

#include "shell/tokenize.h"

using CommandHandler = void (*)(const Tokens& tokens);

struct CommandEntry {
  const char* name;
  CommandHandler handler;
  int tokenCount;
};

extern const CommandEntry CommandTable[];
extern const size_t CommandTableSize;

const CommandEntry* FindCommand(std::string_view name);
