// Number reading of the protocol.
//
// Both read a leading number and ignore what follows it (12abc is 12), the
// way the protocol has always accepted sloppy numbers. A token with no
// number throws std::invalid_argument, which ExecuteCommand answers with
// "ERROR: Invalid value"; so does a number outside the 32-bit or double
// range. They sit beside the card reader, below every layer that reads a
// node path or a list, so that one reading rule serves them all.
#pragma once

#include <string>

int ParseInt(const std::string& token);
double ParseDouble(const std::string& token);
