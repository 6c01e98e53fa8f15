// Scripts: files of command lines run as if typed.
//
// Scripts nest, sharing variables and the skip label. The nesting depth is
// bounded so that a script that loads itself ends with an error line
// instead of exhausting the stack.
#pragma once

#include <string>

inline constexpr int MaxScriptDepth = 64;

// Runs every line of the file through ExecuteCommand, flushing the reply
// after each. Throws CommandError if the file cannot be opened.
void RunScript(const std::string& path);

// True if the path names an existing file that is not a directory.
bool IsExistingFile(const std::string& path);

// Runs one line of input as a command, if it holds a token, and writes its
// reply: the step shared by scripts and the standard input.
void RunInputLine(std::string line);
