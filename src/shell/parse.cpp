#include "shell/parse.h"

#include <stdexcept>

#include "shell/command_error.h"

// std::stoi and std::stod give exactly the reading rule the protocol wants:
// leading white space and a sign, then as many characters as fit. Their
// out-of-range error is turned into the invalid-argument one so that every
// unreadable number gets the same answer.
int ParseInt(const std::string& token) {
  try {
    return std::stoi(token);
  } catch (const std::out_of_range&) {
    throw std::invalid_argument("stoi argument out of range");
  }
}

double ParseDouble(const std::string& token) {
  try {
    return std::stod(token);
  } catch (const std::out_of_range&) {
    throw std::invalid_argument("stod argument out of range");
  }
}

bool ParseOnOff(const Tokens& tokens, size_t index) {
  if (index >= tokens.size()) ThrowBadArguments(tokens);
  const std::string& word = tokens[index];
  if (word == "0") return false;
  if (word == "1") return true;
  ThrowBadArguments(tokens);
}
