#include "shell/parse.h"

#include "shell/command_error.h"

bool ParseOnOff(const Tokens& tokens, size_t index) {
  if (index >= tokens.size()) ThrowBadArguments(tokens);
  const std::string& word = tokens[index];
  if (word == "0") return false;
  if (word == "1") return true;
  ThrowBadArguments(tokens);
}
