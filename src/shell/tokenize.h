// Tokenize: turns one command line into its words.
//
// Only the blank separates words; a tab is an ordinary character. Double
// quotes group blanks into a word, and a closing quote ends the word at once,
// so ab"c d"e is the two words "abc d" and "e". There is no escape character:
// clients that need a quote inside a word cannot have one, which keeps every
// line of the protocol readable as it stands.
#pragma once

#include <string>
#include <string_view>
#include <vector>

using Tokens = std::vector<std::string>;

Tokens Tokenize(std::string_view line);

// Joins tokens with single blanks, as the echo of a command shows them.
std::string JoinTokens(const Tokens& tokens, size_t first = 0);
