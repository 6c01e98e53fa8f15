#include "shell/link/frame.h"

void EncodeFrameHeader(FrameHeader header, uint8_t out[FrameHeaderBytes]) {
  out[0] = header.kind;
  for (int i = 0; i < 8; ++i) out[1 + i] = uint8_t(header.length >> (8 * i));
}

FrameHeader DecodeFrameHeader(const uint8_t in[FrameHeaderBytes]) {
  FrameHeader header;
  header.kind = in[0];
  for (int i = 0; i < 8; ++i) header.length |= uint64_t(in[1 + i]) << (8 * i);
  return header;
}

void EncodeUint32(uint32_t value, uint8_t out[4]) {
  for (int i = 0; i < 4; ++i) out[i] = uint8_t(value >> (8 * i));
}

uint32_t DecodeUint32(const uint8_t in[4]) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value |= uint32_t(in[i]) << (8 * i);
  return value;
}

const char* RefuseClientFrame(const FrameHeader& header) {
  switch (header.kind) {
    case RequestFrame: return header.length > MaxRequestBytes ? "command line too long" : nullptr;
    case UploadFrame: return nullptr;
    default: return "unknown frame kind";
  }
}

const char* RefuseServerFrame(const FrameHeader& header) {
  if (header.kind == FileFrame) return nullptr;
  return header.length > MaxReplyBytes ? "reply too long" : nullptr;
}
