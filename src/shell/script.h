// Scripts: files of command lines run as if typed, and the reading of
// command lines from any stream.
//
// Scripts nest, sharing variables and the skip label. Input is bounded so
// that no file or client can make the shell read, hold or run without end:
// a line longer than MaxLineLength is refused, the nesting depth is bounded,
// and so is the number of scripts that one outermost script may start. A
// script that loads itself, or a few files that load each other many times
// over, are runaway recursion: when either bound is met the whole nest of
// scripts stops with one error line, and the line after the outermost
// load_script runs as usual.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

// The longest command line, in bytes, without its line end. The longest
// lines of the protocol are set_range, set_strategy and combo_lock_node
// with 1326 numbers, some 30 kB at full precision; a line far beyond that
// is no command, and reading it whole would hold all of it in memory.
inline constexpr size_t MaxLineLength = size_t(1) << 20;

inline constexpr int MaxScriptDepth = 64;
// Scripts started by one outermost load_script, itself included. Batch
// scripts that load one script per spot stay far below it.
inline constexpr int MaxScriptsPerRun = 100000;

// Runs every line of the file through ExecuteCommand, flushing the reply
// after each. Throws CommandError if the file cannot be opened, if a
// bound above is met, or at a line that is too long (the script stops
// there).
void RunScript(const std::string& path);

// True if the path names an existing file that is not a directory.
bool IsExistingFile(const std::string& path);

// Runs one line of input as a command, if it holds a token, and writes its
// reply: the step shared by scripts and the standard input.
void RunInputLine(std::string line);

enum class LineStatus {
  Complete,      // ended by a line feed, which is not stored
  Unterminated,  // the input ended after the line's last character
  TooLong,       // more than maxLength bytes came before a line feed; the
                 // first maxLength + 1 are read, the rest is not
  NoLine,        // the input was at its end
};
// Reads one line into `line` (emptied first), holding at most maxLength
// bytes of it.
LineStatus ReadLine(std::istream& in, std::string& line, size_t maxLength = MaxLineLength);

// Where lines come from. The standard input does not run a last line
// without a line end (the client may still be typing it) and skips an
// over-long line with an error line; a script runs its last line and stops
// at an over-long one, since the file is no script of commands (and may be
// a device such as /dev/zero that never ends a line).
enum class LineSource { StandardInput, Script };

// The file a script is read from, as the file system names it.
struct FileIdentity {
  bool known = false;
  unsigned long device = 0;
  unsigned long inode = 0;
};

// Reads and runs lines until the input ends. A script whose own file has
// become the standard output (stdoutredi to it, here or in a script it
// loads) stops before its next line: it would read back every reply it
// writes, and never end.
void RunLines(std::istream& in, LineSource source, FileIdentity scriptFile = {});
