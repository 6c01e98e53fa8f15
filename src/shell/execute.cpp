#include "shell/execute.h"

#include <cstdio>
#include <new>
#include <stdexcept>

#include "shell/command_error.h"
#include "shell/command_table.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"
#include "shell/variables.h"

void EchoCommandLine(const Tokens& tokens) {
  std::string text = JoinTokens(tokens);
  SetTextColor(text[0] == '#' ? 5 : 3);
  {
    std::lock_guard<std::mutex> lock(OutputMutex);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
  }
  SetTextColor(7);
}

namespace {

void TerminateAfterError(bool resetColor) {
  if (!TerminateOnError) return;
  FlushReply();
  std::fflush(stdout);
  if (resetColor) SetTextColor(7);
  ExitProcess(1);
}

// An unknown command word comes back in its error line; a word of
// megabytes is cut, so that the reply stays a line a client can read.
constexpr size_t MaxEchoedWordLength = 200;

std::string EchoedWord(const std::string& word) {
  if (word.size() <= MaxEchoedWordLength) return word;
  return word.substr(0, MaxEchoedWordLength) + "...";
}

void ReportError(std::string text) {
  if (text.empty() || text.back() != '\n') text.push_back('\n');
  SetTextColor(4);
  PrintReplyText(text);
  TerminateAfterError(true);
}

}  // namespace

void ReportInputError(const std::string& text) { ReportError(text); }

void ExecuteCommand(Tokens tokens) {
  // Nothing to do without a token; then the first substitution.
  if (tokens.empty()) return;
  tokens = SubstituteVariables(tokens);

  // The echo comes before every test, so skipped lines and comments
  // show in a transcript too.
  if (EchoCommands) EchoCommandLine(tokens);

  // Labels end a skip; a skip swallows everything else; comments.
  if (tokens.size() >= 2 && tokens[0] == "LABEL:") {
    if (tokens[1] == SkipLabel) SkipLabel.clear();
    return;
  }
  if (!SkipLabel.empty()) return;
  if (tokens[0][0] == '#') return;

  // exit has no row of its own; a status with no number in it is 0.
  if (tokens[0] == "exit") {
    int status = 0;
    if (tokens.size() > 1) {
      try {
        status = ParseInt(tokens[1]);
      } catch (const std::invalid_argument&) {
        status = 0;
      }
    }
    ExitProcess(status);
  }

  // The second substitution, then the table.
  tokens = SubstituteVariables(tokens);
  const CommandEntry* entry = FindCommand(tokens[0]);
  if (!entry) {
    SetTextColor(4);
    // Built as a string, not formatted: a NUL byte inside the word would
    // end a %s argument and cut the line short.
    PrintReplyText("ERROR: Command " + EchoedWord(tokens[0]) + " not recognized\n");
    TerminateAfterError(true);
    return;
  }

  // The token count, then the handler, under the one guard. A refusal from
  // below the handlers carries only its detail and gets the same line.
  try {
    if (entry->tokenCount > 0 && size_t(entry->tokenCount) != tokens.size()) ThrowBadArguments(tokens);
    CurrentCommand = tokens[0];
    entry->handler(tokens);
  } catch (const std::invalid_argument&) {
    PrintReply("ERROR: Invalid value\n");
    TerminateAfterError(false);
  } catch (const std::out_of_range&) {
    PrintReply("ERROR: Invalid value\n");
    TerminateAfterError(false);
  } catch (const CommandFailure& failure) {
    ReportError(CommandErrorLine(failure));
  } catch (const std::runtime_error& error) {
    ReportError(error.what());
  } catch (const std::bad_alloc&) {
    // The reply may be what took the memory, and the error line must fit.
    DiscardReply();
    ReportError("ERROR: " + tokens[0] + " out of memory");
  } catch (const std::exception& error) {
    ReportError("ERROR: " + tokens[0] + " " + error.what());
  }
}
