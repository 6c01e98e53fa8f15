// ServerLink: the server's side of the TCP link, which lets a client
// process on another machine drive this process's solver.
//
// One client at a time: while one is served, the next waits in the
// listening queue and is taken when the first leaves, so two clients never
// interleave commands on one tree. The main thread reads the client's
// frames and runs each command line through the shell as if typed; what
// PrintReply collected goes back as the reply, and PrintNow's text (the
// solver's SOLVER: lines) goes out at once as messages. The send mutex keeps
// frames whole, since the solver thread and the main thread both send.
//
// The protocol has no authentication: anyone who reaches the port runs
// commands, writes files and may end the process. So the server listens on
// the loopback address unless the user names another.
//
// A client's file paths mean nothing here. While a client is served,
// load_tree reads the fixed file ServerTempFile (which the client has just
// uploaded) and dump_tree writes it and sends it back with the reply; both
// delete it when done.
#pragma once

#include <string>
#include <string_view>

inline constexpr const char* ServerTempFile = "kestrune_temp";
inline constexpr const char* DefaultServerAddress = "127.0.0.1";

// Listens on address:port (port 0 takes a free one). On failure prints
// "<label>: <reason>" on the standard error, the label being one of
// "resolve", "open", "set_option", "bind", "listen", and returns false.
bool OpenServerLink(const std::string& address, int port);
// The port the link listens on; 0 without a link.
int ServerLinkPort();

// Serves clients one after another; with exitAfterClient, returns when the
// first has gone. Returns at once without a link.
void RunServer(bool exitAfterClient);

// Sends one frame to the client, if one is connected; otherwise the text is
// lost. A reply (kind 1) carries the pending file, if one is set.
void ServerSend(unsigned char kind, std::string_view text);

// True while a command of a client runs: load_tree and dump_tree then use
// ServerTempFile instead of the client's path.
bool ServingClient();
// A file to send with the next reply (dump_tree's), and whether to delete
// it once sent.
void SetServerPendingFile(const std::string& path, bool deleteWhenSent);

// Ends the link: the client's connection and the listening socket. For
// tests, which open and close links in one process.
void CloseServerLink();
