// The stream codec (id 2): symbols of a row spread over 24 byte streams by
// their role, each stream cut into 64 KB blocks coded by FSE.
//
// Splitting by role is the whole idea. Zero symbols cost one bit each in a
// map byte per 8 values; a non-zero symbol's byte goes to one of 16 streams
// chosen by the size of the symbol before it (its context), so each stream
// holds bytes of one typical size and FSE codes it tightly; the rare large
// values escape to streams of their own.
//
//   stream   content, one byte per item
//   0        the codec id once, then the row mode, one byte per row
//   1        the map of 8 symbols: bit k set if symbol k is not zero
//   2 + c    symbol - 1 of a non-zero symbol in context c (0 to 15), where
//            c is min(symbol - 1, 15) of the row's last non-zero symbol,
//            0 at a row's start; 255 means "escaped", and sets c to 15
//   18, 19   low and high byte of an escaped symbol - 1; 255, 255 means
//            "escaped twice"
//   20..23   the four bytes of a twice-escaped symbol - 1, low byte first
//
// In time the map byte follows the bytes of its group, but a reader of one
// stream at a time sees the map first, which is why it may.
//
// A block on a stream: raw size (4 bytes, little-endian, 1 to 65536), coded
// size (4 bytes, little-endian: FseNotCompressible, FseOneByteRepeated or
// the FSE block's size), then the raw bytes, the one repeated byte, or the
// FSE block. Every block but a stream's last holds 65536 bytes; a stream
// that never got a byte has no block at all.
//
// Both sides keep 24 buffers of 64 KB from the scalable allocator, made
// once per writer or reader, and one scratch block for FSE, so a row never
// allocates. The reader keeps the valid size of each block beside the read
// position: a block shorter than the last one read is legal only at a
// stream's end, and reading past it must be damage, not stale bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/codecs/codec.h"

inline constexpr uint32_t StreamBlockSize = 65536;

// 32 bytes, so that finding a stream's buffer is one shift.
struct alignas(32) StreamBuffer {
  uint32_t used = StreamBlockSize;    // writer: bytes held; reader: read position
  uint8_t* data = nullptr;            // StreamBlockSize bytes, 16-byte aligned
  uint32_t stream = 0;                // its index
  uint32_t filled = StreamBlockSize;  // reader only: valid bytes of the block
};

class StreamCodecWriter final : public CodecWriter {
 public:
  StreamCodecWriter(CodecOutput output, void* context);
  StreamCodecWriter(const StreamCodecWriter&) = delete;
  StreamCodecWriter& operator=(const StreamCodecWriter&) = delete;
  ~StreamCodecWriter() override;

  void WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) override;

 private:
  void Put(uint32_t stream, uint8_t byte) {
    StreamBuffer& buffer = buffers_[stream];
    buffer.data[buffer.used++] = byte;
    if (buffer.used == StreamBlockSize) Flush(buffer);
  }
  void PutWide(uint32_t v, uint32_t context);  // out of line: the rarest form
  void Flush(StreamBuffer& buffer);

  CodecOutput output_;
  void* context_;
  StreamBuffer buffers_[CodecStreamCount];
  uint8_t* memory_;   // the 24 buffers, then the scratch
  uint8_t* scratch_;  // an FSE block of a full buffer, FseCompressBound bytes
};

class StreamCodecReader final : public CodecReader {
 public:
  StreamCodecReader(CodecInput input, void* context);
  StreamCodecReader(const StreamCodecReader&) = delete;
  StreamCodecReader& operator=(const StreamCodecReader&) = delete;
  ~StreamCodecReader() override;

  bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) override;
  bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) override;
  bool DecodesWholeRows() const override { return true; }

 private:
  // After a failure every byte reads as 0 and no input is asked for.
  uint8_t Get(uint32_t stream) {
    StreamBuffer& buffer = buffers_[stream];
    if (buffer.used == buffer.filled && !Refill(buffer)) return 0;
    return buffer.data[buffer.used++];
  }
  bool Refill(StreamBuffer& buffer);
  uint32_t GetSymbol(uint32_t context);  // out of line: the slow forms
  // Decodes a row's symbols into symbols_; returns its mode, or fails.
  bool DecodeSymbols(size_t count, bool hasPrevious, uint8_t& mode);
  bool Fail();
  bool RefuseCount();

  StreamBuffer buffers_[CodecStreamCount];
  CodecInput input_;
  void* context_;
  uint8_t* memory_;
  uint8_t* scratch_;
  uint32_t symbols_[(MaxRowCount + 7) / 8 * 8];  // whole groups of 8
};
