#include "shell/link/link_commands.h"

#include <string>
#include <string_view>

#include "setup/console.h"
#include "shell/command_error.h"
#include "shell/execute.h"
#include "shell/link/remote_link.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"

namespace {

RemoteLinkHandle ActiveRemoteLink;

// The server's messages, printed the moment they arrive, as a local solve
// prints its own.
void PrintMessage(std::string_view text) { PrintNow("%.*s", int(text.size()), text.data()); }

bool KeptLocal(const std::string& word) {
  return word == "load_script" || word == "exit" || word == "connect" || word == "disconnect" || word[0] == '#';
}

// An error line of the client's own, in place of the server's reply.
void ReportLocally(const std::string& word, const std::string& detail) {
  constexpr size_t MaxWord = 200;
  ReportInputError("ERROR: " + (word.size() > MaxWord ? word.substr(0, MaxWord) + "..." : word) + " " + detail);
}

}  // namespace

void CmdConnect(const Tokens& tokens) {
  if (tokens.size() > 3) ThrowBadArguments(tokens);
  const std::string host = tokens.size() > 1 ? tokens[1] : DefaultConnectHost;
  const int port = tokens.size() > 2 ? ParseInt(tokens[2]) : DefaultConnectPort;
  if (port < 1 || port > 65535) ThrowBadArguments(tokens);
  // A connect that fails leaves the link as it was, so the lines after it
  // don't quietly run here instead.
  std::string error;
  RemoteLinkHandle link = OpenRemoteLink(host, port, PrintMessage, error);
  if (!link) ThrowCommandError(error);
  ActiveRemoteLink = std::move(link);
  ReplyOk(tokens);
}

void CmdDisconnect(const Tokens& tokens) {
  if (!ActiveRemoteLink) ThrowCommandError("not connected");
  ActiveRemoteLink.reset();
  ReplyOk(tokens);
}

bool RunsRemotely(const Tokens& tokens) { return ActiveRemoteLink && !tokens.empty() && !KeptLocal(tokens[0]); }

void RunRemotely(const std::string& line, const Tokens& tokens) {
  if (EchoCommands) EchoCommandLine(tokens);
  RemoteLink& link = *ActiveRemoteLink;
  const std::string& word = tokens[0];
  try {
    if (word == "load_tree" && tokens.size() == 2) {
      std::string error;
      if (!SendFile(link, tokens[1], error)) return ReportLocally(word, "can't open file (" + error + ")");
    }
    const std::string filePath = word == "dump_tree" && tokens.size() >= 2 ? tokens[1] : std::string();
    const RemoteReply reply = Request(link, line, filePath);
    if (!reply.fileError.empty()) return ReportLocally(word, "can't write to file (" + reply.fileError + ")");
    // An error line is the client's failure too: its colour, and the end
    // of the process under --terminateonerror.
    if (reply.text.rfind("ERROR:", 0) == 0) return ReportInputError(reply.text);
    // The server has dropped what its "#" rule drops; the rest is shown as
    // it came.
    ShowHashLines = true;
    PrintReplyText(reply.text);
  } catch (const disconnected_exception& lost) {
    ReportLocally(word, lost.what());
  }
}
