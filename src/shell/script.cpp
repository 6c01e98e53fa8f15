#include "shell/script.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "shell/command_error.h"
#include "shell/execute.h"
#include "shell/link/link_commands.h"
#include "shell/output.h"
#include "shell/shell_state.h"

namespace {
int ScriptDepth = 0;
// Counted from the outermost script on; reset when a new outermost starts.
int ScriptsThisRun = 0;
// Set when a bound of nesting is met: every script of the nest stops after
// its current line.
bool StopNestedScripts = false;

// Lines written on Windows end with a carriage return; it is no part of the
// command.
void DropCarriageReturn(std::string& line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
}

// Skips up to and including the next line feed; false if the input ended
// first.
bool SkipRestOfLine(std::istream& in) {
  std::streambuf* buffer = in.rdbuf();
  for (;;) {
    int ch = buffer->sbumpc();
    if (ch == std::char_traits<char>::eof()) {
      in.setstate(std::ios::eofbit);
      return false;
    }
    if (ch == '\n') return true;
  }
}

std::string TooLongText(const char* prefix, const char* consequence) {
  return std::string(prefix) + "line too long (over " + std::to_string(MaxLineLength) + " bytes), " + consequence +
         "\n";
}

FileIdentity IdentityOf(const struct stat& info) { return {true, (unsigned long)info.st_dev, (unsigned long)info.st_ino}; }

bool OutputGoesTo(const FileIdentity& file) {
  struct stat info;
  if (!file.known || fstat(STDOUT_FILENO, &info) != 0) return false;
  const FileIdentity output = IdentityOf(info);
  return output.device == file.device && output.inode == file.inode;
}

[[noreturn]] void StopAllScripts(const std::string& detail) {
  StopNestedScripts = true;
  ThrowCommandError(detail);
}

}  // namespace

bool IsExistingFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

void RunInputLine(std::string line) {
  DropCarriageReturn(line);
  Tokens tokens = Tokenize(line);
  if (tokens.empty()) return;
  if (RunsRemotely(tokens))
    RunRemotely(line, tokens);
  else
    ExecuteCommand(std::move(tokens));
  FlushReply();
  std::fflush(stdout);
}

LineStatus ReadLine(std::istream& in, std::string& line, size_t maxLength) {
  line.clear();
  // Byte by byte from the stream's buffer: getline would hold a line of any
  // length before the bound could be applied.
  std::streambuf* buffer = in.rdbuf();
  for (;;) {
    int ch = buffer->sbumpc();
    if (ch == std::char_traits<char>::eof()) {
      in.setstate(std::ios::eofbit);
      return line.empty() ? LineStatus::NoLine : LineStatus::Unterminated;
    }
    if (ch == '\n') return LineStatus::Complete;
    if (line.size() == maxLength) return LineStatus::TooLong;
    line.push_back(char(ch));
  }
}

void RunLines(std::istream& in, LineSource source, FileIdentity scriptFile) {
  const bool script = source == LineSource::Script;
  std::string line;
  for (;;) {
    const LineStatus status = ReadLine(in, line);
    if (status == LineStatus::NoLine) return;
    if (status == LineStatus::Unterminated && !script) return;
    if (status == LineStatus::TooLong) {
      // The line's text is never echoed: it is what must not come back.
      // Nested scripts may have changed the current command, so the line
      // names load_script itself.
      if (script) throw CommandError(TooLongText("ERROR: load_script ", "script stopped"));
      ReportInputError(TooLongText("ERROR: ", "ignored"));
      FlushReply();
      std::fflush(stdout);
      SetTextColor(7);
      if (!SkipRestOfLine(in)) return;
      continue;
    }
    if (script && OutputGoesTo(scriptFile))
      throw CommandError("ERROR: load_script the script is the output file, script stopped\n");
    RunInputLine(line);
    if (script && StopNestedScripts) return;
    if (!script) SetTextColor(7);
  }
}

void RunScript(const std::string& path) {
  if (Verbosity > 0) PrintReply("[load_script %s]\n", path.c_str());
  // A directory opens on Linux but yields no lines; it is no script.
  std::ifstream file;
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode)) file.open(path, std::ios::binary);
  if (!file.is_open()) ThrowCommandError("can't open file");
  if (ScriptDepth == 0) {
    ScriptsThisRun = 0;
    StopNestedScripts = false;
  }
  if (ScriptDepth >= MaxScriptDepth) StopAllScripts("scripts nested too deep");
  if (ScriptsThisRun >= MaxScriptsPerRun) StopAllScripts("too many scripts in one run");
  ++ScriptsThisRun;

  struct DepthGuard {
    DepthGuard() { ++ScriptDepth; }
    ~DepthGuard() { --ScriptDepth; }
  } depthGuard;
  RunLines(file, LineSource::Script, IdentityOf(info));
}
