#include "storage/stream_arena.h"

#include <algorithm>
#include <cstring>

#include "setup/failure.h"
#include "storage/scratch_set.h"
#include "storage/tree_stream.h"

StreamArena::StreamArena(int64_t elements) : MemoryArena(StreamArenaReserve(elements), 4096) {}

StreamArena::~StreamArena() {
  writer.reset();
  if (scratch) GiveBackScratchSet(scratch);
}

void StreamArena::BeginWrite() {
  if (writer || reader) FatalError();
  scratch = TakeScratchSet();
  std::fill(std::begin(peak), std::end(peak), 0);
  std::fill(std::begin(used), std::end(used), 0);
  writer = CreateWriter(StreamCodecId, nullptr, nullptr, Append, this);
}

void StreamArena::Append(void* context, uint32_t stream, const void* data, size_t bytes) {
  if (bytes == 0) return;
  auto* arena = static_cast<StreamArena*>(context);
  const int64_t end = int64_t(arena->used[stream]) + int64_t(bytes);
  if (end > arena->reserved) FatalLine("out of memory (not enough reserved)\n");
  if (end > arena->peak[stream]) {
    arena->peak[stream] = int32_t(end);
    // The map stream and the large-context stream grow fastest.
    arena->scratch->Reserve(stream, end, stream == 1 || stream == 17 ? 65536 : 16384);
  }
  std::memcpy(arena->scratch->buffer[stream] + arena->used[stream], data, bytes);
  arena->used[stream] = int32_t(end);
}

void StreamArena::EndWrite() {
  if (!writer) return;
  writer.reset();  // flushes every stream
  int64_t total = 0;
  for (int32_t n : used) total += n;
  CommitTo(total);
  uint8_t* to = base;
  for (uint32_t s = 0; s < CodecStreamCount; ++s) {
    if (used[s]) std::memcpy(to, scratch->buffer[s], size_t(used[s]));
    to += used[s];
  }
  GiveBackScratchSet(scratch);
  scratch = nullptr;
}

void StreamArena::BeginRead() {
  if (writer || reader) FatalError();
  std::copy(std::begin(used), std::end(used), std::begin(peak));
  const uint8_t* at = base;
  for (uint32_t s = 0; s < CodecStreamCount; ++s) {
    streamStart[s] = at;
    at += used[s];
  }
  std::fill(std::begin(used), std::end(used), 0);
  reader = CreateReader(Fetch, this);
}

size_t StreamArena::Fetch(void* context, uint32_t stream, void* data, size_t bytes) {
  auto* arena = static_cast<StreamArena*>(context);
  bytes = std::min(bytes, size_t(arena->peak[stream] - arena->used[stream]));
  if (bytes) std::memcpy(data, arena->streamStart[stream] + arena->used[stream], bytes);
  arena->used[stream] += int32_t(bytes);
  return bytes;
}

// Reading restores used[] to the stream lengths, so that the block can be
// read again, saved or rewritten.
void StreamArena::EndRead() {
  if (!reader) return;
  reader.reset();
  std::copy(std::begin(peak), std::end(peak), std::begin(used));
}

void StreamArena::WriteRow32(const uint32_t* row, const uint32_t* previous, size_t count) {
  if (!writer) FatalError("arena not open");
  ::WriteRow32(*writer, row, previous, count);
}

void StreamArena::WriteRow16(const uint16_t* row, const uint16_t* previous, size_t count) {
  if (!writer) FatalError("arena not open");
  ::WriteRow16(*writer, row, previous, count);
}

// An arena with no block, or one whose id this build can't read, reads as
// zeros.
bool StreamArena::ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) {
  if (reader) return ::ReadRow32(*reader, row, previous, count);
  std::fill_n(row, std::min(count, MaxRowCount), 0u);
  return false;
}

bool StreamArena::ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) {
  if (reader && count <= MaxRowCount) {
    if (::ReadRow16(*reader, row, previous, count)) return true;
    if (reader->Failure() != CodecFailure::none) return false;
    // The older codecs have no 16-bit rows: their writers coded them
    // widened, predictor and all.
    uint32_t wide[MaxRowCount], widePrevious[MaxRowCount];
    if (previous) std::copy_n(previous, count, widePrevious);
    if (!::ReadRow32(*reader, wide, previous ? widePrevious : nullptr, count)) return false;
    bool fits = true;
    for (size_t i = 0; i < count; ++i) fits &= wide[i] <= 0xFFFF, row[i] = uint16_t(wide[i]);
    if (!fits) ReportCodecFailure(CodecFailure::damagedData);
    return fits;
  }
  if (reader) return ::ReadRow16(*reader, row, previous, count);
  std::fill_n(row, std::min(count, MaxRowCount), uint16_t(0));
  return false;
}

void StreamArena::Save(TreeWriter& out) const {
  for (uint32_t s = 0; s < CodecStreamCount; ++s) {
    out.WriteValue(peak[s]);
    out.WriteValue(used[s]);
  }
  out.WriteValue(reserved);
  out.WriteValue(size);
  if (size) out.Write(base, size_t(size));
}

bool StreamArena::Load(TreeReader& in) {
  if (writer || reader) FatalError();
  int32_t filePeak[CodecStreamCount] = {}, fileUsed[CodecStreamCount] = {};
  int64_t fileReserved = 0, fileSize = 0;
  for (uint32_t s = 0; s < CodecStreamCount; ++s) {
    in.ReadValue(filePeak[s]);
    in.ReadValue(fileUsed[s]);
  }
  in.ReadValue(fileReserved);
  in.ReadValue(fileSize);
  // The streams must tile the block exactly, and the block must be in the
  // file and fit this arena; the file's own reservation was another
  // build's bound and says nothing about this one.
  int64_t total = 0;
  bool negative = false;
  for (int32_t n : fileUsed) negative |= n < 0, total += n;
  const bool fits = !in.Failed() && !negative && fileSize >= 0 && total == fileSize && fileSize <= reserved &&
                    uint64_t(fileSize) <= in.Remaining();
  std::fill(std::begin(peak), std::end(peak), 0);
  std::fill(std::begin(used), std::end(used), 0);
  ResetSize();
  if (!fits) {
    in.Fail();
    return false;
  }
  CommitTo(fileSize);
  if (fileSize && !in.Read(base, size_t(fileSize))) return false;
  std::copy(std::begin(fileUsed), std::end(fileUsed), std::begin(used));
  std::copy(std::begin(fileUsed), std::end(fileUsed), std::begin(peak));
  return true;
}
