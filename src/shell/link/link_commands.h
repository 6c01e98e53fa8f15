// connect and disconnect, and the client's way of running lines while it is
// connected: every line but load_script, exit, connect and disconnect goes
// to the server as it was typed, and the server's reply is printed as if
// the command had run here.
//
// The server substitutes variables with its own store, since the values a
// solve writes (solver_ev_oop, ...) live there. Only the paths of load_tree
// and dump_tree are read here, as typed: load_tree sends the file first,
// dump_tree receives it with the reply.
//
// A link that has failed stays until disconnect or a connect that succeeds:
// every line then answers with an error instead of running here, on a tree
// the user did not mean.
#pragma once

#include "shell/tokenize.h"

inline constexpr const char* DefaultConnectHost = "127.0.0.1";
inline constexpr int DefaultConnectPort = 5251;

void CmdConnect(const Tokens& tokens);
void CmdDisconnect(const Tokens& tokens);

// True if the line's command goes to the server: a link is open and the
// word is not one the client keeps.
bool RunsRemotely(const Tokens& tokens);
// Sends the line, waits for its reply and puts it into the reply buffer;
// a lost connection gives an error line instead.
void RunRemotely(const std::string& line, const Tokens& tokens);
