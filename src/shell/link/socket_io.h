// A connected socket as the byte source and sink that the frame readers
// and writers take (frame.h): both ends of the link read and write through
// these.
#pragma once

#include <asio.hpp>

struct SocketSource {
  asio::ip::tcp::socket& socket;
  bool ReadExact(void* data, size_t size) {
    asio::error_code error;
    asio::read(socket, asio::buffer(data, size), error);
    return !error;
  }
};

struct SocketSink {
  asio::ip::tcp::socket& socket;
  asio::error_code error;  // of the last write
  bool WriteAll(const void* data, size_t size) {
    asio::write(socket, asio::buffer(data, size), error);
    return !error;
  }
};
