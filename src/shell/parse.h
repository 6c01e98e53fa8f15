// Argument reading of the handlers: numbers (setup/numbers.h) and the
// on-or-off switches.
#pragma once

#include <string>

#include "setup/numbers.h"
#include "shell/tokenize.h"

// The on-or-off arguments accept exactly "0" and "1"; anything else is
// ThrowBadArguments.
bool ParseOnOff(const Tokens& tokens, size_t index);
