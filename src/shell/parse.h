// Number conversion of arguments.
//
// Both read a leading number and ignore what follows it (12abc is 12), the
// way the protocol has always accepted sloppy numbers. A token with no
// number throws std::invalid_argument, which ExecuteCommand answers with
// "ERROR: Invalid value"; so does a number outside the 32-bit or double range.
#pragma once

#include <string>

#include "shell/tokenize.h"

int ParseInt(const std::string& token);
double ParseDouble(const std::string& token);

// The on-or-off arguments accept exactly "0" and "1"; anything else is
// ThrowBadArguments.
bool ParseOnOff(const Tokens& tokens, size_t index);
