#include "shell/link/server_link.h"

#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>

#include <asio.hpp>

#include "setup/console.h"
#include "shell/link/frame.h"
#include "shell/link/socket_io.h"
#include "shell/output.h"
#include "shell/script.h"

namespace {

using asio::ip::tcp;

struct ServerLink {
  asio::io_context context;
  tcp::acceptor acceptor{context};
  // Replaced and closed only by the main thread, under sendMutex; read by
  // the main thread alone, written by any thread under sendMutex.
  tcp::socket client{context};
  std::mutex sendMutex;
  bool connected = false;  // under sendMutex
  // Main thread only: set by dump_tree, taken by the reply.
  std::string pendingFile;
  bool deletePendingFile = true;
};

std::unique_ptr<ServerLink> ActiveServerLink;
bool Serving = false;
// The reply of the command being served, as FlushReply writes it.
std::string CapturedReply;

void Report(const char* label, const asio::error_code& error) {
  std::fprintf(stderr, "%s: %s\n", label, error.message().c_str());
}

// Under sendMutex. A shutdown, not a close: the main thread may be reading
// the socket, and its read then ends; it closes the socket itself.
void DropClient(ServerLink& link, const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  asio::error_code ignored;
  link.client.shutdown(tcp::socket::shutdown_both, ignored);
  link.connected = false;
}

void SendPendingFile(ServerLink& link, std::string_view reply) {
  std::string path;
  path.swap(link.pendingFile);
  std::FILE* file = std::fopen(path.c_str(), "rb");
  struct stat info {};
  if (!file || fstat(fileno(file), &info) != 0) {
    if (file) std::fclose(file);
    if (link.deletePendingFile) std::remove(path.c_str());
    ServerSend(ReplyFrame, "ERROR: dump_tree can't send the file\n");
    return;
  }
  {
    std::lock_guard<std::mutex> lock(link.sendMutex);
    if (link.connected) {
      SocketSink sink{link.client, {}};
      if (!WriteFileFrame(sink, file, uint64_t(info.st_size), reply))
        DropClient(link, sink.error ? sink.error.message() : "can't read " + path);
    }
  }
  std::fclose(file);
  if (link.deletePendingFile) std::remove(path.c_str());
}

// PrintNow's text while clients are served: solver messages and progress.
void SendMessage(const char* text, size_t length) { ServerSend(MessageFrame, std::string_view(text, length)); }

// A reply too large to hold goes ahead in whole lines as messages, which
// the client prints as they come: the same text in the same order.
void CaptureReply(std::string_view lines) {
  CapturedReply += lines;
  if (CapturedReply.size() >= ReplyFlushBytes) {
    ServerSend(MessageFrame, CapturedReply);
    std::string().swap(CapturedReply);
  }
}

void RunRequest(const std::string& line) {
  Serving = true;
  ReplyOutput = CaptureReply;
  RunInputLine(line);
  FlushReply();
  ReplyOutput = nullptr;
  Serving = false;
  std::string reply;
  reply.swap(CapturedReply);
  ServerSend(ReplyFrame, reply);
}

// An uploaded file is written beside its final name and renamed when it
// is whole, so load_tree never reads half a file. A file that can't be
// written is still read off the connection; load_tree then finds no file.
struct Upload {
  std::string partial = std::string(ServerTempFile) + ".partial";
  std::FILE* file = nullptr;
  bool started = false;
  bool written = false;

  // The last file goes first: a cut upload must not leave it for load_tree.
  void Start() {
    started = true;
    std::remove(ServerTempFile);
    file = std::fopen(partial.c_str(), "wb");
    written = file != nullptr;
  }
  void operator()(const char* data, size_t size) {
    if (!started) Start();
    if (written && std::fwrite(data, 1, size, file) != size) written = false;
  }
  // Called once the frame has been read, whole or not.
  void Finish(bool whole) {
    if (!started) Start();
    if (file) written = std::fclose(file) == 0 && written;
    file = nullptr;
    if (whole && written) written = std::rename(partial.c_str(), ServerTempFile) == 0;
    if (!whole || !written) std::remove(partial.c_str());
    if (whole && !written) std::fprintf(stderr, "link: can't write %s\n", ServerTempFile);
  }
};

// Runs the client's frames until it leaves or breaks the protocol.
void ServeClient(ServerLink& link) {
  SocketSource source{link.client};
  std::string line;
  for (;;) {
    Upload upload;
    FrameHeader header{RequestFrame, 0};
    const char* refusal = nullptr;
    const ClientFrame frame = ReadClientFrame(source, line, upload, header, refusal);
    if (header.kind == UploadFrame && !refusal) upload.Finish(frame == ClientFrame::Upload);
    switch (frame) {
      case ClientFrame::End: return;
      case ClientFrame::Upload: break;
      case ClientFrame::Request: RunRequest(line); break;
      case ClientFrame::Refused:
        // The client may be waiting for a reply; it gets this one, then
        // the connection ends, since the body can't be skipped unread.
        std::fprintf(stderr, "link: %s (kind %u, length %llu), connection closed\n", refusal,
                     unsigned(header.kind), (unsigned long long)header.length);
        ServerSend(ReplyFrame, std::string("ERROR: ") + refusal + ", connection closed\n");
        return;
    }
  }
}

void CloseClient(ServerLink& link) {
  std::lock_guard<std::mutex> lock(link.sendMutex);
  asio::error_code ignored;
  link.client.close(ignored);
  link.connected = false;
}

}  // namespace

bool OpenServerLink(const std::string& address, int port) {
  auto link = std::make_unique<ServerLink>();
  asio::error_code error;
  tcp::resolver resolver(link->context);
  const auto endpoints = resolver.resolve(address, std::to_string(port), tcp::resolver::passive, error);
  if (error || endpoints.empty()) {
    Report("resolve", error ? error : asio::error::host_not_found);
    return false;
  }
  const tcp::endpoint endpoint = endpoints.begin()->endpoint();
  if (link->acceptor.open(endpoint.protocol(), error)) {
    Report("open", error);
    return false;
  }
  // A restarted server takes its port back at once, past the connections
  // of the last one still in TIME_WAIT.
  if (link->acceptor.set_option(tcp::acceptor::reuse_address(true), error)) {
    Report("set_option", error);
    return false;
  }
  if (link->acceptor.bind(endpoint, error)) {
    Report("bind", error);
    return false;
  }
  if (link->acceptor.listen(asio::socket_base::max_listen_connections, error)) {
    Report("listen", error);
    return false;
  }
  ActiveServerLink = std::move(link);
  return true;
}

int ServerLinkPort() {
  if (!ActiveServerLink) return 0;
  asio::error_code error;
  const tcp::endpoint endpoint = ActiveServerLink->acceptor.local_endpoint(error);
  return error ? 0 : endpoint.port();
}

void RunServer(bool exitAfterClient) {
  ServerLink* link = ActiveServerLink.get();
  if (!link) return;
  PrintNowOutput.store(SendMessage);
  for (;;) {
    tcp::socket socket(link->context);
    asio::error_code error;
    link->acceptor.accept(socket, error);
    if (error) {
      Report("accept", error);
      if (!link->acceptor.is_open()) break;
      continue;
    }
    // Replies are small and awaited: send each at once.
    socket.set_option(tcp::no_delay(true), error);
    {
      std::lock_guard<std::mutex> lock(link->sendMutex);
      link->client = std::move(socket);
      link->connected = true;
    }
    ServeClient(*link);
    CloseClient(*link);
    if (exitAfterClient) break;
  }
  PrintNowOutput.store(nullptr);
}

void ServerSend(unsigned char kind, std::string_view text) {
  ServerLink* link = ActiveServerLink.get();
  if (!link) return;
  if (kind == ReplyFrame && !link->pendingFile.empty()) {
    SendPendingFile(*link, text);
    return;
  }
  uint8_t header[FrameHeaderBytes];
  EncodeFrameHeader({kind, text.size()}, header);
  const std::array<asio::const_buffer, 2> buffers{asio::buffer(header), asio::buffer(text.data(), text.size())};
  std::lock_guard<std::mutex> lock(link->sendMutex);
  if (!link->connected) return;
  asio::error_code error;
  asio::write(link->client, buffers, error);
  if (error) DropClient(*link, error.message());
}

bool ServingClient() { return Serving; }

void SetServerPendingFile(const std::string& path, bool deleteWhenSent) {
  if (!ActiveServerLink) return;
  ActiveServerLink->pendingFile = path;
  ActiveServerLink->deletePendingFile = deleteWhenSent;
}

void CloseServerLink() {
  if (!ActiveServerLink) return;
  CloseClient(*ActiveServerLink);
  asio::error_code ignored;
  ActiveServerLink->acceptor.close(ignored);
  ActiveServerLink.reset();
}
