#include "storage/packed_arena.h"

#include <algorithm>

#include "setup/failure.h"
#include "storage/codecs/codec.h"
#include "storage/codecs/packed_row.h"
#include "storage/tree_stream.h"

PackedArena::PackedArena(int64_t elements, int elementBytes)
    : MemoryArena(PackedArenaReserve(elements, elementBytes), 16384) {}

void PackedArena::BeginWrite() {
  ResetSize();
  writeLimit = 0;
  position = 0;
}

// The block's size is what the rows took, not the room committed ahead.
void PackedArena::EndWrite() { size = position; }

uint8_t* PackedArena::Room(size_t bytes) {
  if (int64_t(position) + int64_t(bytes) > writeLimit) {
    const int64_t limit = int64_t(writeLimit) + int64_t(bytes);
    if (limit > reserved) FatalLine("out of memory (not enough reserved)\n");
    writeLimit = int32_t(limit);
    CommitTo(writeLimit);
  }
  return base + position;
}

void PackedArena::WriteRow32(const uint32_t* row, const uint32_t*, size_t count) {
  WriteRowOf(row, count, PackRow32, PackedRow32Bound(count));
}

void PackedArena::WriteRow16(const uint16_t* row, const uint16_t*, size_t count) {
  WriteRowOf(row, count, PackRow16, PackedRow16Bound(count));
}

bool PackedArena::ReadRow32(uint32_t* row, const uint32_t*, size_t count) { return ReadRowOf(row, count, UnpackRow32); }

bool PackedArena::ReadRow16(uint16_t* row, const uint16_t*, size_t count) { return ReadRowOf(row, count, UnpackRow16); }

template <class Value, class Pack>
void PackedArena::WriteRowOf(const Value* row, size_t count, Pack pack, size_t room) {
  if (count > MaxRowCount) return ReportCodecFailure(CodecFailure::countTooLarge);
  position += int32_t(pack(row, count, Room(room)));
}

// A damaged row is reported as the codecs report damage; the rest of the
// block is then not read.
template <class Value, class Unpack>
bool PackedArena::ReadRowOf(Value* row, size_t count, Unpack unpack) {
  count = std::min(count, MaxRowCount);
  const PackedRowResult r = unpack(base + position, size_t(size - position), row, count);
  if (r.IsError()) {
    std::fill_n(row, count, Value(0));
    position = int32_t(size);
    if (count) ReportCodecFailure(CodecFailure::damagedData);
    return false;
  }
  position += int32_t(r.size);
  return true;
}

void PackedArena::Save(TreeWriter& out) const {
  out.WriteValue(writeLimit);
  out.WriteValue(reserved);
  out.WriteValue(size);
  if (size) out.Write(base, size_t(size));
}

bool PackedArena::Load(TreeReader& in) {
  int32_t fileLimit = 0;
  int64_t fileReserved = 0, fileSize = 0;
  in.ReadValue(fileLimit);
  in.ReadValue(fileReserved);
  in.ReadValue(fileSize);
  BeginWrite();
  // The rows must lie within the limit, and the block in the file and in
  // this arena's reservation; the file's reservation was another build's.
  if (in.Failed() || fileSize < 0 || fileLimit < fileSize || fileLimit > reserved ||
      uint64_t(fileSize) > in.Remaining()) {
    in.Fail();
    return false;
  }
  CommitTo(fileSize);
  if (fileSize && !in.Read(base, size_t(fileSize))) return false;
  writeLimit = fileLimit;
  return true;
}
