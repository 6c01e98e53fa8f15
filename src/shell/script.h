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

// Drops the carriage return that a line written on Windows ends with.
void DropCarriageReturn(std::string& line);
