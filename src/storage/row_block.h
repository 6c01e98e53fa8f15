// Row blocks of a tree file: the rows of a chance record's values and of
// the strategies above a forgotten street.
//
// Files from the version with a mode byte on may hold either form; older
// ones always a stream block. A stream block is 24 chunks, one per codec
// stream, each a 64-bit size and its bytes, read into memory before the
// rows are decoded by the codec their first byte names (the older codecs
// included). Any other mode stores each row as a signed 16-bit length and
// that many bytes of packed rows. This program writes packed rows where the
// version allows: they read and write at the speed of the disk.
//
// The reader takes nothing on trust: chunk sizes are checked against the
// bytes that remain, codec failures are noted instead of ending the process,
// and every failure fails the reader (the caller then refuses the file).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "storage/codec_failure_note.h"
#include "storage/codecs/packed_row.h"

class TreeReader;
class TreeWriter;

class RowBlockReader {
 public:
  // Reads the block's head (mode byte and chunks); Ok() says whether it
  // could.
  explicit RowBlockReader(TreeReader& in);
  bool Ok() const { return ok_; }
  // One row of count values, no previous row. False, with the reader
  // failed, for a row the block doesn't hold.
  bool Row32(uint32_t* row, int32_t count);
  bool Row16(uint16_t* row, int32_t count);

 private:
  static size_t Input(void* context, uint32_t stream, void* data, size_t size);
  bool Fail();
  bool Packed(size_t bound);

  TreeReader& in_;
  bool ok_ = true;
  bool streamMode_ = false;
  std::vector<uint8_t> chunks_[CodecStreamCount];
  size_t at_[CodecStreamCount] = {};
  std::unique_ptr<CodecFailureNote> note_;
  std::unique_ptr<CodecReader> reader_;
  size_t packedSize_ = 0;
  uint8_t bytes_[PackedRow32Bound(MaxRowCount)];
};

class RowBlockWriter {
 public:
  // Writes the head: the mode byte where the writer's version has one.
  explicit RowBlockWriter(TreeWriter& out);
  // A stream block goes out with its chunk sizes when the writer ends.
  ~RowBlockWriter();
  RowBlockWriter(const RowBlockWriter&) = delete;
  RowBlockWriter& operator=(const RowBlockWriter&) = delete;

  void Row32(const uint32_t* row, int32_t count);
  void Row16(const uint16_t* row, int32_t count);

 private:
  static void Output(void* context, uint32_t stream, const void* data, size_t size);
  void Packed(size_t size);

  TreeWriter& out_;
  std::unique_ptr<CodecWriter> writer_;
  std::vector<uint8_t> chunks_[CodecStreamCount];
  uint8_t bytes_[PackedRow32Bound(MaxRowCount)];
};
