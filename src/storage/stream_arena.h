// StreamArena: a block coded by the stream codec, its 24 streams back to
// back with no header; used[] says where they meet.
//
// While a block is written the codec appends to the streams of a thread's
// ScratchSet; at EndWrite the arena commits the total and copies each
// stream once. Reading hands the codec plain pointers into the block.
//
// The reservation is the codec's worst case for the elements the block will
// hold, not an estimate: address space costs nothing until committed, and a
// block that outgrows its reservation ends the process. A row coded at its
// worst costs a mode byte, a map byte per 8 values and up to 7 bytes a
// value (the value's byte and both escapes), and every stream ends in a
// block header: 9 bytes a value and 64 KB cover that for rows of at least
// one value, whatever their width.
//
// File form: for each of the 24 streams its peak and used sizes (4 bytes
// each, interleaved), the reservation and the block size (8 bytes each),
// then the block.
#pragma once

#include <cstdint>
#include <memory>

#include "storage/codecs/codec.h"
#include "storage/memory_arena.h"

struct ScratchSet;

inline constexpr int64_t StreamArenaReserve(int64_t elements) { return (9 * elements + 65536 + 4095) & ~int64_t(4095); }

class StreamArena final : public MemoryArena {
 public:
  explicit StreamArena(int64_t elements);
  ~StreamArena() override;

  void BeginWrite() override;
  void EndWrite() override;
  // Once stream 0 holds the codec's id byte.
  bool HasData() const override { return peak[0] > 0; }
  void BeginRead() override;
  void EndRead() override;
  void WriteRow32(const uint32_t* row, const uint32_t* previous, size_t count) override;
  void WriteRow16(const uint16_t* row, const uint16_t* previous, size_t count) override;
  bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) override;
  bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) override;
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  int32_t StreamSize(uint32_t stream) const { return used[stream]; }

 private:
  static void Append(void* context, uint32_t stream, const void* data, size_t bytes);
  static size_t Fetch(void* context, uint32_t stream, void* data, size_t bytes);

  int32_t peak[CodecStreamCount] = {};  // while reading: each stream's length
  int32_t used[CodecStreamCount] = {};  // while reading: each read position
  const uint8_t* streamStart[CodecStreamCount] = {};
  std::unique_ptr<CodecWriter> writer;
  std::unique_ptr<CodecReader> reader;
  ScratchSet* scratch = nullptr;
};
