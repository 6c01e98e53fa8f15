#include "shell/link/remote_link.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include <asio.hpp>

#include "shell/link/frame.h"
#include "shell/link/socket_io.h"

using asio::ip::tcp;

struct RemoteLink {
  asio::io_context context;
  tcp::socket socket{context};
  std::mutex mutex;
  std::condition_variable replied;
  // Under mutex, from here on.
  std::string lastReply;
  bool hasReply = false;
  bool ended = false;
  std::string filePath;
  std::string fileError;
  std::function<void(std::string_view)> notify;
  std::thread reader;
};

namespace {

std::string SystemWords(int error) { return std::strerror(error ? error : EIO); }

// Receives a file into path.partial and renames it; with no path (a reply
// nobody asked a file for) the bytes are read and dropped. False if the
// connection ended inside the file; `fileError` tells a local failure.
bool ReceiveFile(SocketSource& source, uint64_t length, const std::string& path, std::string& fileError) {
  const std::string partial = path + ".partial";
  std::FILE* file = path.empty() ? nullptr : std::fopen(partial.c_str(), "wb");
  int error = file || path.empty() ? 0 : errno;
  const bool whole = CopyFrameBody(source, length, [&](const char* data, size_t size) {
    if (file && !error && std::fwrite(data, 1, size, file) != size) error = errno;
  });
  if (file && std::fclose(file) != 0 && !error) error = errno;
  if (whole && file && !error && std::rename(partial.c_str(), path.c_str()) != 0) error = errno;
  if (file && (!whole || error)) std::remove(partial.c_str());
  if (!path.empty() && (error || !file)) fileError = SystemWords(error);
  return whole;
}

void Deliver(RemoteLink& link, std::string&& reply, std::string&& fileError) {
  std::lock_guard<std::mutex> lock(link.mutex);
  link.lastReply = std::move(reply);
  link.fileError = std::move(fileError);
  link.filePath.clear();
  link.hasReply = true;
  link.replied.notify_all();
}

void ReadFrames(RemoteLink& link) {
  SocketSource source{link.socket};
  std::string body;
  for (;;) {
    std::string fileError;
    const ServerFrame frame = ReadServerFrame(source, body, [&](SocketSource& from, uint64_t length) {
      std::string path;
      {
        std::lock_guard<std::mutex> lock(link.mutex);
        path = link.filePath;
      }
      return ReceiveFile(from, length, path, fileError);
    });
    if (frame == ServerFrame::End) return;
    if (frame == ServerFrame::Message) {
      if (link.notify) link.notify(body);
      continue;
    }
    Deliver(link, std::move(body), std::move(fileError));
  }
}

void RunReader(RemoteLink* link) {
  try {
    ReadFrames(*link);
  } catch (const std::exception&) {
    // Out of memory, or a callback that failed: the link ends as on a
    // failed read.
  }
  asio::error_code ignored;
  link->socket.shutdown(tcp::socket::shutdown_both, ignored);
  std::lock_guard<std::mutex> lock(link->mutex);
  link->ended = true;
  link->replied.notify_all();
}

}  // namespace

void RemoteLinkCloser::operator()(RemoteLink* link) const {
  asio::error_code error;
  link->socket.shutdown(tcp::socket::shutdown_both, error);
  // A link whose reader has ended has already been shut.
  if (error && error != asio::error::not_connected) std::fprintf(stderr, "close: %s\n", error.message().c_str());
  if (link->reader.joinable()) link->reader.join();
  link->socket.close(error);
  delete link;
}

RemoteLinkHandle OpenRemoteLink(const std::string& host, int port, std::function<void(std::string_view)> notify,
                                std::string& error) {
  std::unique_ptr<RemoteLink> link(new RemoteLink);
  link->notify = std::move(notify);
  asio::error_code failure;
  tcp::resolver resolver(link->context);
  const auto endpoints = resolver.resolve(host, std::to_string(port), tcp::resolver::address_configured, failure);
  if (failure) {
    error = "can't resolve " + host + " (" + failure.message() + ")";
    return nullptr;
  }
  asio::connect(link->socket, endpoints, failure);
  if (failure) {
    error = "can't connect to " + host + ":" + std::to_string(port) + " (" + failure.message() + ")";
    return nullptr;
  }
  // Requests are small and awaited: send each at once.
  link->socket.set_option(tcp::no_delay(true), failure);
  link->reader = std::thread(RunReader, link.get());
  return RemoteLinkHandle(link.release());
}

RemoteReply Request(RemoteLink& link, std::string_view text, const std::string& filePath) {
  std::unique_lock<std::mutex> lock(link.mutex);
  if (link.ended) throw disconnected_exception();
  link.filePath = filePath;
  link.hasReply = false;
  uint8_t header[FrameHeaderBytes];
  EncodeFrameHeader({RequestFrame, text.size()}, header);
  const std::array<asio::const_buffer, 2> buffers{asio::buffer(header), asio::buffer(text.data(), text.size())};
  asio::error_code error;
  asio::write(link.socket, buffers, error);
  if (error) throw disconnected_exception();
  link.replied.wait(lock, [&] { return link.hasReply || link.ended; });
  if (!link.hasReply) throw disconnected_exception();
  link.hasReply = false;
  return {std::move(link.lastReply), std::move(link.fileError)};
}

bool SendFile(RemoteLink& link, const std::string& path, std::string& error) {
  // Only a regular file: a pipe or a device has no size to announce.
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) {
    error = SystemWords(errno);
    return false;
  }
  if (!S_ISREG(info.st_mode)) {
    error = "not a regular file";
    return false;
  }
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    error = SystemWords(errno);
    return false;
  }
  std::unique_lock<std::mutex> lock(link.mutex);
  if (link.ended) {
    std::fclose(file);
    throw disconnected_exception();
  }
  uint8_t header[FrameHeaderBytes];
  EncodeFrameHeader({UploadFrame, uint64_t(info.st_size)}, header);
  SocketSink sink{link.socket, {}};
  bool sent = sink.WriteAll(header, sizeof header);
  char block[FrameBlockBytes];
  for (uint64_t left = uint64_t(info.st_size); sent && left > 0;) {
    const size_t size = size_t(std::min<uint64_t>(FrameBlockBytes, left));
    sent = std::fread(block, 1, size, file) == size && sink.WriteAll(block, size);
    left -= size;
  }
  std::fclose(file);
  if (!sent) {
    asio::error_code ignored;
    link.socket.shutdown(tcp::socket::shutdown_both, ignored);
    throw disconnected_exception();
  }
  return true;
}

bool RemoteLinkAlive(RemoteLink& link) {
  std::lock_guard<std::mutex> lock(link.mutex);
  return !link.ended;
}
