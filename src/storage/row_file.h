// The row forms of tree files that the stores share: float rows as they lie,
// 16-bit rows raw or packed, 24-bit rows packed.
//
// A packed row stands as an unsigned 16-bit length and that many bytes of
// PackedRowFormat; length 0 is a row of zeros (a board no solve has reached
// yet), whatever its hand count. Rows are the bulk of a tree file, so the
// readers read each row with one call into the store's own memory, or
// unpack it from a per-thread scratch that only ever grows, and check it in
// one branch-free pass: no allocation per row.
//
// Every reader fails the stream and returns false for a row it can't
// accept: too short, a length above what its hand count can pack to, bytes
// that don't unpack to exactly that many values, and float rows holding a
// NaN, an infinity or a negative number (regrets and sums never do, and a
// damaged one would spread through a solve).
#pragma once

#include <cstddef>
#include <cstdint>

class TreeReader;
class TreeWriter;

void WriteZeros(TreeWriter& out, size_t bytes);

bool ReadFloatRow(TreeReader& in, float* row, int32_t hands);
// Finite and positive, as scales must be.
bool AllFinitePositive(const float* values, size_t count);

void WritePackedRow16(TreeWriter& out, const uint16_t* row, int32_t hands);
void WritePackedRow24(TreeWriter& out, const uint32_t* row, int32_t hands);
void WriteEmptyPackedRow(TreeWriter& out);
bool ReadPackedRow16(TreeReader& in, uint16_t* row, int32_t hands);
// The same in two steps, for a store that writes a row only when it holds
// something: the bytes (valid until the next read), then the values.
struct PackedRow16 {
  const uint8_t* bytes = nullptr;
  uint16_t length = 0;
  int32_t hands = 0;
  bool Empty() const { return length == 0; }
};
bool ReadPackedRow16(TreeReader& in, int32_t hands, PackedRow16& packed);
bool UnpackPackedRow16(TreeReader& in, const PackedRow16& packed, uint16_t* row);
// Values below 2^24.
bool ReadPackedRow24(TreeReader& in, uint32_t* row, int32_t hands);

// The format byte of the sum stores: one above `newest` comes from a later
// build, which no command here can read ("ERROR: incompatible data").
bool ReadFormatByte(TreeReader& in, int32_t newest);

// The shift of a row of 16-bit sums: its true values are the elements
// shifted left by it. Capped weights over the longest solve keep sums
// below 2^34, so shifts below 19: 31 leaves room, keeps a shift of a 32-bit
// value defined and the float factor 2^shift of the strategy exact.
inline constexpr uint8_t MaxRowShift = 31;
bool RowShiftsValid(const uint8_t* shifts, size_t count);
