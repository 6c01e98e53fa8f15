#include "storage/row_file.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "setup/failure.h"
#include "storage/codecs/packed_row.h"
#include "storage/tree_stream.h"

namespace {

// Packed bytes of one row; grows to the largest row seen and stays.
uint8_t* PackScratch(size_t bytes) {
  thread_local std::vector<uint8_t> scratch;
  if (scratch.size() < bytes) scratch.resize(bytes);
  return scratch.data();
}

bool Refuse(TreeReader& in) {
  in.Fail();
  return false;
}

// The length of the next packed row, refused above what `hands` values
// can pack to, and its bytes, read into the scratch.
bool ReadPackedBytes(TreeReader& in, size_t bound, uint16_t& length, const uint8_t*& bytes) {
  if (!in.ReadValue(length) || length > bound) return false;
  uint8_t* scratch = PackScratch(length);
  bytes = scratch;
  return in.Read(scratch, length);
}

}  // namespace

void WriteZeros(TreeWriter& out, size_t bytes) {
  static constexpr uint8_t zeros[4096] = {};
  for (; bytes > sizeof zeros; bytes -= sizeof zeros) out.Write(zeros, sizeof zeros);
  out.Write(zeros, bytes);
}

bool ReadFloatRow(TreeReader& in, float* row, int32_t hands) {
  if (!in.Read(row, size_t(hands) * sizeof(float))) return false;
  // On the bits: a NaN, an infinity or a sign bit, except on -0.
  uint32_t bad = 0;
  for (int32_t i = 0; i < hands; ++i) {
    uint32_t bits;
    std::memcpy(&bits, row + i, sizeof bits);
    bad |= uint32_t(bits >= 0x7F800000u) & uint32_t(bits != 0x80000000u);
  }
  return bad ? Refuse(in) : true;
}

bool AllFinitePositive(const float* values, size_t count) {
  uint32_t bad = 0;
  for (size_t i = 0; i < count; ++i) bad |= uint32_t(!(values[i] > 0.0f)) | uint32_t(std::isinf(values[i]));
  return bad == 0;
}

void WritePackedRow16(TreeWriter& out, const uint16_t* row, int32_t hands) {
  const size_t bound = PackedRow16Bound(size_t(hands));
  if (bound > UINT16_MAX) FatalError("row too long for its file form");
  uint8_t* bytes = PackScratch(bound);
  const size_t size = PackRow16(row, size_t(hands), bytes);
  out.WriteValue(uint16_t(size));
  out.Write(bytes, size);
}

void WritePackedRow24(TreeWriter& out, const uint32_t* row, int32_t hands) {
  const size_t bound = PackedRow24Bound(size_t(hands));
  if (bound > UINT16_MAX) FatalError("row too long for its file form");
  uint8_t* bytes = PackScratch(bound);
  const size_t size = PackRow24(row, size_t(hands), bytes);
  out.WriteValue(uint16_t(size));
  out.Write(bytes, size);
}

void WriteEmptyPackedRow(TreeWriter& out) { out.WriteValue(uint16_t(0)); }

bool ReadPackedRow16(TreeReader& in, uint16_t* row, int32_t hands) {
  PackedRow16 packed;
  if (!ReadPackedRow16(in, hands, packed)) return false;
  if (packed.Empty()) {
    std::memset(row, 0, size_t(hands) * sizeof *row);
    return true;
  }
  return UnpackPackedRow16(in, packed, row);
}

bool ReadPackedRow16(TreeReader& in, int32_t hands, PackedRow16& packed) {
  packed.hands = hands;
  if (!ReadPackedBytes(in, PackedRow16Bound(size_t(hands)), packed.length, packed.bytes)) return Refuse(in);
  return true;
}

bool UnpackPackedRow16(TreeReader& in, const PackedRow16& packed, uint16_t* row) {
  const PackedRowResult result = UnpackRow16(packed.bytes, packed.length, row, size_t(packed.hands));
  return result.IsError() || result.size != packed.length ? Refuse(in) : true;
}

bool ReadPackedRow24(TreeReader& in, uint32_t* row, int32_t hands) {
  uint16_t length = 0;
  const uint8_t* bytes = nullptr;
  if (!ReadPackedBytes(in, PackedRow24Bound(size_t(hands)), length, bytes)) return Refuse(in);
  if (length == 0) {
    std::memset(row, 0, size_t(hands) * sizeof *row);
    return true;
  }
  const PackedRowResult result = UnpackRow24(bytes, length, row, size_t(hands));
  return result.IsError() || result.size != length ? Refuse(in) : true;
}

bool ReadFormatByte(TreeReader& in, int32_t newest) {
  uint8_t format = 0;
  if (!in.ReadValue(format)) return false;
  if (format > newest) {
    in.Fail();
    throw CommandFailure("incompatible data", false);
  }
  return true;
}

bool RowShiftsValid(const uint8_t* shifts, size_t count) {
  uint8_t largest = 0;
  for (size_t i = 0; i < count; ++i) largest = shifts[i] > largest ? shifts[i] : largest;
  return largest <= MaxRowShift;
}
