// The two ways to the standard output.
//
// Replies of commands collect in the reply buffer and go out whole when the
// command is over (FlushReply); messages of the solver thread go out at once
// (PrintNow, setup/console.h). Both write under OutputMutex, so a solver
// message can fall between two replies but never inside one. Nothing else
// writes to the standard output once start-up is over, except the echo of a
// command.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "setup/console.h"
#include "shell/tokenize.h"

// Lets reply text that begins with "#" through until the next flush.
extern bool ShowHashLines;
// Free text of the client that travels with a tree.
extern std::vector<std::string> TreeInfoLines;

// Appends formatted text to the reply buffer; text whose format begins with
// "#" is dropped unless ShowHashLines is set.
void PrintReply(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The same for text from outside (echo, error lines): it goes in literally.
void PrintReplyText(std::string_view text);
// Writes the non-empty lines of the reply buffer, each with a line feed.
void FlushReply();
// While set, the lines FlushReply would write go here instead of to the
// standard output: a server collects the reply for its client.
using ReplyWriter = void (*)(std::string_view lines);
extern ReplyWriter ReplyOutput;
// A reply (a repeat of queries, say) may be far larger than memory: once
// this many bytes are pending, its complete lines go out before the
// command ends. The output is the same, only earlier.
inline constexpr size_t ReplyFlushBytes = size_t(16) << 20;
size_t PendingReplyBytes();
// Forgets the pending reply, so that an error line can still be printed
// when memory ran out while a reply was being made.
void DiscardReply();

// "<command> ok!" unless SuppressOk.
void ReplyOk(const Tokens& tokens);

// Console colours, as ANSI sequences, only under --color and only while the
// output goes to the stream the process started with: they do not travel
// into a redirected file. 2 banner, 3 echo, 4 error, 5 comment, 7 normal.
void SetTextColor(int attribute);

// Redirection of the standard output. Each returns false if the file cannot
// be opened; the output then stays where it was.
void SaveStartupOutput();
bool RedirectOutput(const std::string& path, bool append);
bool RestoreStartupOutput();
