// Commands of the output channels: redirection, notifications, tree info.
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_commands.h"

void CmdStdoutRedi(const Tokens& tokens) {
  if (!RedirectOutput(tokens[1], false)) ThrowCommandError("freopen failed");
  ReplyOk(tokens);
}

void CmdStdoutRediAppend(const Tokens& tokens) {
  if (!RedirectOutput(tokens[1], true)) ThrowCommandError("freopen failed");
  ReplyOk(tokens);
}

void CmdStdoutBack(const Tokens& tokens) {
  if (!RestoreStartupOutput()) ThrowCommandError("freopen failed");
  ReplyOk(tokens);
}

void CmdEnableUiNotifications(const Tokens& tokens) {
  UiNotifications = ParseOnOff(tokens, 1);
  ReplyOk(tokens);
}

void CmdResetTreeInfo(const Tokens& tokens) {
  TreeInfoLines.clear();
  ReplyOk(tokens);
}

void CmdAddInfoLine(const Tokens& tokens) {
  TreeInfoLines.push_back(tokens[1]);
  ReplyOk(tokens);
}

void CmdShowTreeInfo(const Tokens&) {
  // The one reply that lets "#" lines through: they are the client's text.
  ShowHashLines = true;
  for (const std::string& line : TreeInfoLines) {
    PrintReplyText(line);
    PrintReplyText("\n");
  }
  PrintReply("END\n");
}
