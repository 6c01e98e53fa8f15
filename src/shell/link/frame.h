// Frames of the TCP link: a 9-byte header (kind, then a little-endian
// 64-bit length) and the body, in both directions.
//
// The length comes from the other end and is never trusted: a body is read
// in blocks of FrameBlockBytes, and its buffer grows only by what has
// arrived, so a header that claims 2^62 bytes and sends ten costs ten.
// Each side also caps what it will hold in memory for one frame (a command
// line, a reply) and refuses a longer one before reading any of it. Files
// (kind 3 down, kind 4 up) are streamed to disk block by block and have no
// cap beyond the length.
//
// The readers and writers are templates over a byte source and sink, so
// that the same code runs on a socket, in the tests and under a fuzzer:
//   Source: bool ReadExact(void* data, size_t size)  false at end or error
//   Sink:   bool WriteAll(const void* data, size_t size)
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "shell/script.h"

inline constexpr size_t FrameHeaderBytes = 9;
// Bodies move in blocks of this size; a file of exactly this size is one.
inline constexpr size_t FrameBlockBytes = 65536;

enum FrameKind : uint8_t {
  RequestFrame = 0,  // client to server: one command line
  ReplyFrame = 1,    // server to client: the reply to the pending request
  MessageFrame = 2,  // server to client: a message of the moment (SOLVER:)
  FileFrame = 3,     // server to client: a file, then the reply
  UploadFrame = 4,   // client to server: a file for the next load_tree
};
// Any kind the server does not know is a message to the client, so a newer
// server's messages still reach an older client.

// A command line is bounded as on the standard input.
inline constexpr uint64_t MaxRequestBytes = MaxLineLength;
// One reply frame or message in the client's memory. The server sends a
// reply larger than ReplyFlushBytes as messages of whole lines, so a
// frame near this bound comes only from a faulty server.
inline constexpr uint64_t MaxReplyBytes = uint64_t(1) << 30;

struct FrameHeader {
  uint8_t kind = 0;
  uint64_t length = 0;
};

void EncodeFrameHeader(FrameHeader header, uint8_t out[FrameHeaderBytes]);
FrameHeader DecodeFrameHeader(const uint8_t in[FrameHeaderBytes]);
void EncodeUint32(uint32_t value, uint8_t out[4]);
uint32_t DecodeUint32(const uint8_t in[4]);

// Why the server refuses a frame of its client before reading its body, or
// nullptr if it takes it. A refused frame ends the connection: its body
// can't be skipped without reading all of it.
const char* RefuseClientFrame(const FrameHeader& header);
// The same for frames of the server, on the client.
const char* RefuseServerFrame(const FrameHeader& header);

// Reads a body of `length` bytes into `body`, which grows only by blocks
// that have arrived. False if the source ended first.
template <class Source>
bool ReadFrameBody(Source& source, uint64_t length, std::string& body) {
  body.clear();
  char block[FrameBlockBytes];
  while (body.size() < length) {
    const size_t size = size_t(std::min<uint64_t>(FrameBlockBytes, length - body.size()));
    if (!source.ReadExact(block, size)) return false;
    body.append(block, size);
  }
  return true;
}

// Passes a body of `length` bytes to `consume(data, size)` block by block.
// False if the source ended first. The consumer keeps its own failures:
// the frame must be read whole whatever becomes of its bytes.
template <class Source, class Consume>
bool CopyFrameBody(Source& source, uint64_t length, Consume&& consume) {
  char block[FrameBlockBytes];
  while (length > 0) {
    const size_t size = size_t(std::min<uint64_t>(FrameBlockBytes, length));
    if (!source.ReadExact(block, size)) return false;
    consume(block, size);
    length -= size;
  }
  return true;
}

// The rest of a kind 3 frame after its file: the reply's 4-byte size and the
// reply. False if the source ended first or the size is past MaxReplyBytes.
template <class Source>
bool ReadFileFrameReply(Source& source, std::string& reply) {
  uint8_t size[4];
  if (!source.ReadExact(size, 4)) return false;
  const uint32_t length = DecodeUint32(size);
  if (length > MaxReplyBytes) return false;
  return ReadFrameBody(source, length, reply);
}

enum class ClientFrame {
  Request,  // a command line, in `line`
  Upload,   // a file, passed to `upload` block by block
  End,      // the connection ended, between frames or inside one
  Refused,  // a frame the server won't read; `refusal` says why
};

// Reads the next frame of a client, as the server does.
template <class Source, class Upload>
ClientFrame ReadClientFrame(Source& source, std::string& line, Upload&& upload, FrameHeader& header,
                            const char*& refusal) {
  uint8_t bytes[FrameHeaderBytes];
  if (!source.ReadExact(bytes, sizeof bytes)) return ClientFrame::End;
  header = DecodeFrameHeader(bytes);
  refusal = RefuseClientFrame(header);
  if (refusal) return ClientFrame::Refused;
  if (header.kind == UploadFrame)
    return CopyFrameBody(source, header.length, upload) ? ClientFrame::Upload : ClientFrame::End;
  return ReadFrameBody(source, header.length, line) ? ClientFrame::Request : ClientFrame::End;
}

enum class ServerFrame {
  Reply,    // the reply to the pending request, in `body`
  FileReply,  // a file, taken by `takeFile`, then the reply in `body`
  Message,  // a message of the moment (or of a kind this end doesn't know)
  End,      // the connection ended, or the frame was refused
};

// Reads the next frame of the server, as the client does. A file goes to
// takeFile(source, length), which must read all of it and says whether it
// could.
template <class Source, class TakeFile>
ServerFrame ReadServerFrame(Source& source, std::string& body, TakeFile&& takeFile) {
  uint8_t bytes[FrameHeaderBytes];
  if (!source.ReadExact(bytes, sizeof bytes)) return ServerFrame::End;
  const FrameHeader header = DecodeFrameHeader(bytes);
  if (RefuseServerFrame(header)) return ServerFrame::End;
  if (header.kind == FileFrame) {
    if (!takeFile(source, header.length) || !ReadFileFrameReply(source, body)) return ServerFrame::End;
    return ServerFrame::FileReply;
  }
  if (!ReadFrameBody(source, header.length, body)) return ServerFrame::End;
  return header.kind == ReplyFrame ? ServerFrame::Reply : ServerFrame::Message;
}

// Writes a whole kind 3 frame: the header with the file's size, the file in
// blocks, the reply's size and the reply. `file` is read from its current
// position; a file that yields fewer than `fileSize` bytes makes the frame
// false and the sink unusable, so the caller drops the connection.
template <class Sink>
bool WriteFileFrame(Sink& sink, std::FILE* file, uint64_t fileSize, std::string_view reply) {
  uint8_t header[FrameHeaderBytes];
  EncodeFrameHeader({FileFrame, fileSize}, header);
  if (!sink.WriteAll(header, sizeof header)) return false;
  char block[FrameBlockBytes];
  for (uint64_t left = fileSize; left > 0;) {
    const size_t size = size_t(std::min<uint64_t>(FrameBlockBytes, left));
    if (std::fread(block, 1, size, file) != size) return false;
    if (!sink.WriteAll(block, size)) return false;
    left -= size;
  }
  uint8_t replySize[4];
  EncodeUint32(uint32_t(reply.size()), replySize);
  return sink.WriteAll(replySize, 4) && sink.WriteAll(reply.data(), reply.size());
}
