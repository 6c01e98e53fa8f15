// The bit codec (id 1), an older coder of the row transform's symbols that
// packs them without any modelling: a row costs a bit for its mode, one bit
// per group of 8 symbols that are all zero, and otherwise a bit per symbol
// and a nibble, byte or wider value per non-zero symbol. This program only
// reads it, for data of older builds; its writer serves tests.
//
//   stream   content
//   1        bits: the row mode, group flags, non-zero flags; low bit first
//   2        nibbles: symbol - 1 below 15, or 15 for "more"; low nibble first
//   0        the codec id once, then bytes: symbol - 1 below 255, or 255
//            and a 16-bit value, or 65535 and a 32-bit value, little-endian
//
// Bits and nibbles fill 64-bit little-endian words low end first, which is
// the same as filling bytes low end first, so the buffers are plain bytes.
// Each stream goes in blocks of 256 bytes (2048 bits, 512 nibbles, 256
// bytes); the writer's destructor writes a partly filled block whole, padded
// with zeros, and a stream that never got an item writes nothing.
//
// The format has no 16-bit rows: ReadRow16 refuses. WriteRow16 still codes
// the symbols of the widened row, so such a row reads back, as its 32-bit
// values, through ReadRow32 with the widened previous row.
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/codecs/codec.h"

inline constexpr uint32_t BitBlockSize = 256;

// One stream's block: items are bits, nibbles or bytes.
struct BitBlock {
  uint8_t data[BitBlockSize];
  uint32_t used;      // items written, or read
  uint32_t capacity;  // items in a block: 2048, 512 or 256
  uint32_t stream;
};

class BitCodecWriter final : public CodecWriter {
 public:
  BitCodecWriter(CodecOutput output, void* context);
  ~BitCodecWriter() override;

  void WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) override;

 private:
  void PutBit(uint32_t bit);
  void PutNibble(uint32_t nibble);
  void PutByte(uint32_t byte);
  void PutValue(uint32_t v);
  void Flush(BitBlock& block);

  CodecOutput output_;
  void* context_;
  BitBlock bits_, nibbles_, bytes_;
};

class BitCodecReader final : public CodecReader {
 public:
  BitCodecReader(CodecInput input, void* context);

  bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) override;
  bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) override;
  bool DecodesWholeRows() const override { return true; }

 private:
  // After a failure every item reads as 0 and no input is asked for.
  uint32_t GetBit();
  uint32_t GetNibble();
  uint32_t GetByte();
  uint32_t GetValue();
  bool Refill(BitBlock& block);
  bool Fail();

  CodecInput input_;
  void* context_;
  BitBlock bits_, nibbles_, bytes_;
  uint32_t symbols_[MaxRowCount];
};
