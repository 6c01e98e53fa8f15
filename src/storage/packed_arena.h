// PackedArena: rows packed straight into the arena by the packed row form,
// with no codec, no prediction and no scratch: the fast block of the lower
// compression level.
//
// Writing commits ahead in steps of the room a row may need, so the commit
// check runs once per step rather than once per row. The room is the packed
// form's exact bound, which a packer may fill with scratch bytes beyond the
// row it returns. The reservation is the sum of those bounds at their worst
// (rows of one value) plus one row of slack for the step ahead: 3 bytes a
// value for 16-bit rows, 5 for 32-bit ones.
//
// File form: the write limit (4 bytes), the reservation and the block size
// (8 bytes each), then the block.
#pragma once

#include <cstdint>

#include "storage/memory_arena.h"

inline constexpr int64_t PackedArenaReserve(int64_t elements, int elementBytes) {
  return ((elementBytes + 1) * elements + 16384 + 16383) & ~int64_t(16383);
}

class PackedArena final : public MemoryArena {
 public:
  // elementBytes: 2 for 16-bit rows, 4 for 32-bit ones.
  PackedArena(int64_t elements, int elementBytes);

  void BeginWrite() override;
  void EndWrite() override;
  bool HasData() const override { return writeLimit > 0; }
  void BeginRead() override { position = 0; }
  void EndRead() override {}
  // The previous row is not used: the packed form predicts nothing.
  void WriteRow32(const uint32_t* row, const uint32_t* previous, size_t count) override;
  void WriteRow16(const uint16_t* row, const uint16_t* previous, size_t count) override;
  bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) override;
  bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) override;
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

 private:
  uint8_t* Room(size_t bytes);
  template <class Value, class Pack>
  void WriteRowOf(const Value* row, size_t count, Pack pack, size_t room);
  template <class Value, class Unpack>
  bool ReadRowOf(Value* row, size_t count, Unpack unpack);

  int32_t writeLimit = 0;  // bytes committed ahead for writing; 0: no block
  int32_t position = 0;    // the byte reached by writing or reading
};
