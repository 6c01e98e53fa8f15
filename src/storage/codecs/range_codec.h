// The range codec (id 0), an older coder of the row transform's symbols
// with the best ratio of the three: every decision of a row is one binary
// event coded by an adaptive range coder in stream 0, with a model chosen
// by what came just before. This program only reads it, for data of older
// builds; its writer serves tests.
//
//   stream 0: the codec id; "Cmpr"; 256 counts of 8 bytes, little-endian,
//   from which both sides build the symbol tree (symbol_tree.h); then the
//   coder's bytes, to a flush of five at the end.
//
// A row is its mode, then per group of 16 symbols a flag "any non-zero"
// (model: the row's last 12 group flags), and in a flagged group per
// symbol a flag "non-zero" (model: the last 16 such flags) and for each
// non-zero symbol its value - 1 down the symbol tree (model: the node and
// the previous value, up to 1023). Values of 1023 and up go on through two
// bit trees, 16 bits and a "wider" flag, then the high 16 bits. Every model
// is split by the row mode. The models adapt over all rows of a coder and
// take 4.9 MB, so they are made once per coder, never per row.
//
// The binary coder is the one of the LZMA family (32-bit range, 64-bit low
// with carry through a cache byte and a run of 0xFF bytes, five flush
// bytes), with 11-bit probabilities adapted by a shift of 4.
//
// On damaged data the decoder still does bounded work per symbol: a walk of
// the tree ends within 1023 decisions, the bit trees within 33. Running out
// of bytes, a wrong tag or a first coder byte that isn't 0 is a failure.
// The format has no 16-bit rows: ReadRow16 refuses. WriteRow16 still codes
// the symbols of the widened row, which ReadRow32 gives back as 32-bit
// values from the widened previous row.
//
// The writer fills histogramOut, if given, with the counts of the values it
// coded (255 and up counted as 255), for a later coder with a better tree.
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/codecs/codec.h"
#include "storage/codecs/symbol_tree.h"

struct RangeModels;

class RangeCodecWriter final : public CodecWriter {
 public:
  RangeCodecWriter(const uint64_t* histogram, uint64_t* histogramOut, CodecOutput output, void* context);
  RangeCodecWriter(const RangeCodecWriter&) = delete;
  RangeCodecWriter& operator=(const RangeCodecWriter&) = delete;
  ~RangeCodecWriter() override;

  void WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) override;

 private:
  void Encode(uint16_t& probability, uint32_t bit);
  void EncodeValue(uint32_t v, uint8_t mode, uint32_t& previousValue);
  void ShiftLow();
  void PutByte(uint8_t byte) {
    buffer_[used_++] = byte;
    if (used_ == sizeof buffer_) FlushBuffer();
  }
  void FlushBuffer();

  CodecOutput output_;
  void* context_;
  RangeModels* models_;
  uint64_t* histogramOut_;
  bool broken_ = false;  // the tree failed: rows are not written
  uint64_t low_ = 0;
  uint32_t range_ = 0xFFFFFFFF;
  uint8_t cache_ = 0;
  uint64_t cacheSize_ = 1;  // the cache byte and the 0xFF bytes pending behind it
  uint32_t used_ = 0;
  uint8_t buffer_[4096];
  SymbolTreeNode tree_[SymbolTreeNodes];
};

class RangeCodecReader final : public CodecReader {
 public:
  // Reads the head and the coder's first five bytes.
  RangeCodecReader(CodecInput input, void* context);
  RangeCodecReader(const RangeCodecReader&) = delete;
  RangeCodecReader& operator=(const RangeCodecReader&) = delete;
  ~RangeCodecReader() override;

  bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) override;
  bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) override;
  bool DecodesWholeRows() const override { return true; }

 private:
  uint32_t Decode(uint16_t& probability);
  uint32_t DecodeValue(uint8_t mode, uint32_t& previousValue);
  // After a failure every byte reads as 0 and no input is asked for.
  uint8_t GetByte();
  void Fail(CodecFailure failure) {
    if (failure_ == CodecFailure::none) failure_ = failure;
  }

  CodecInput input_;
  void* context_;
  RangeModels* models_;
  uint32_t range_ = 0xFFFFFFFF;
  uint32_t code_ = 0;
  SymbolTreeNode tree_[SymbolTreeNodes];
  uint32_t symbols_[MaxRowCount];
};
