#include "shell/tokenize.h"

Tokens Tokenize(std::string_view line) {
  Tokens tokens;
  std::string current;
  bool inQuotes = false;
  for (char ch : line) {
    if (ch == '"') {
      if (inQuotes) {
        // A closing quote ends the token even when no blank follows it.
        if (!current.empty()) tokens.push_back(std::move(current));
        current.clear();
        inQuotes = false;
      } else {
        // An opening quote keeps what was typed before it in the same token.
        inQuotes = true;
      }
    } else if (ch == ' ' && !inQuotes) {
      if (!current.empty()) tokens.push_back(std::move(current));
      current.clear();
    } else {
      current.push_back(ch);
    }
  }
  if (!current.empty()) tokens.push_back(std::move(current));
  return tokens;
}

std::string JoinTokens(const Tokens& tokens, size_t first) {
  std::string text;
  for (size_t i = first; i < tokens.size(); ++i) {
    if (i > first) text.push_back(' ');
    text += tokens[i];
  }
  return text;
}
