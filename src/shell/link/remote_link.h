// RemoteLink: the client's side of the TCP link, through which this
// process's shell passes its command lines to a server.
//
// The main thread sends a request and waits; a reader thread takes every
// frame the server sends: replies, which wake the waiting request, files
// that come ahead of a reply, and messages (the server's SOLVER: lines),
// which go to the callback as they come. When the connection ends, for
// whatever reason, the reader wakes a waiting request, which then fails:
// a server that dies can't leave the client hanging.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct RemoteLink;

// A request that found the connection gone, or saw it end before its reply.
struct disconnected_exception : std::exception {
  const char* what() const noexcept override { return "connection to the server lost"; }
};

struct RemoteLinkCloser {
  void operator()(RemoteLink* link) const;
};
// Closing shuts the socket, joins the reader thread and frees the link.
using RemoteLinkHandle = std::unique_ptr<RemoteLink, RemoteLinkCloser>;

// Connects to host:port. On failure returns null and sets `error` to what
// failed (resolving or connecting) in the system's words.
RemoteLinkHandle OpenRemoteLink(const std::string& host, int port,
                                std::function<void(std::string_view)> notify, std::string& error);

struct RemoteReply {
  std::string text;
  // Set when a file came with the reply but could not be written whole to
  // the path of the request: the system's words.
  std::string fileError;
};

// Sends one command line and waits for its reply. With a filePath, a file
// that comes with the reply is written there (beside it first, then
// renamed, so a broken transfer leaves an older file alone). Throws
// disconnected_exception if the connection is or goes away.
RemoteReply Request(RemoteLink& link, std::string_view text, const std::string& filePath);

// Sends the file at `path` for the server's next load_tree. Returns false
// with `error` set if the file can't be read; throws disconnected_exception
// if the connection fails (a file that shrinks while it is sent breaks the
// frame, and with it the connection).
bool SendFile(RemoteLink& link, const std::string& path, std::string& error);

// False once the connection has ended.
bool RemoteLinkAlive(RemoteLink& link);
