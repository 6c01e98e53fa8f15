// Fuzz target: the row codecs' readers on arbitrary streams and counts.
// The first byte of stream 0 is the codec id, so it picks the reader: 0 the
// range codec, 1 the bit codec, 2 the stream codec.
//
// Input: a flags byte (bit 0: 16-bit rows; bit 1: pass the row read before
// as the previous row; bit 2: the 512-bit row transform, where the
// processor has it), a row count (u16, little-endian, any value: counts
// above the ceiling must be refused), the number of rows (at most 16),
// then 24 stream lengths (u16 each) and the streams' bytes, cut short where
// the input ends. The id byte is the first byte of stream 0.
//
// Reading must end in rows or a recorded failure, never touch memory
// outside buffers sized exactly to the row, and never ask for bytes past a
// stream's end. Rows that were read are then written by the same codec and
// read again and must come back unchanged. The older codecs have no 16-bit
// rows: there every ReadRow16 must refuse without a failure.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "memory_streams.h"
#include "storage/codecs/codec.h"
#include "storage/codecs/row_transform.h"

namespace {

bool failed = false;

template <typename T>
void ReadRows(MemoryStreams& streams, size_t count, size_t rowCount, bool withPrevious) {
  auto reader = streams.Reader();
  if (!reader) return;
  const uint8_t id = streams.bytes[0][0];
  if (sizeof(T) == 2 && id != StreamCodecId) {
    std::vector<uint16_t> row(count);
    const CodecFailure before = reader->Failure();
    if (reader->ReadRow16(row.data(), nullptr, count) || reader->Failure() != before) std::abort();
    return;
  }
  std::vector<std::vector<T>> rows;
  for (size_t r = 0; r < rowCount; ++r) {
    std::vector<T> row(count);  // exact size: the sanitizer sees any overrun
    const T* previous = withPrevious && r > 0 ? rows.back().data() : nullptr;
    bool valid;
    if constexpr (sizeof(T) == 4)
      valid = ReadRow32(*reader, row.data(), previous, count);
    else
      valid = ReadRow16(*reader, row.data(), previous, count);
    if (valid != !failed) std::abort();
    if (!valid) return;
    rows.push_back(std::move(row));
  }

  MemoryStreams again;
  {
    auto writer = again.Writer(id);
    for (size_t r = 0; r < rows.size(); ++r) {
      const T* previous = withPrevious && r > 0 ? rows[r - 1].data() : nullptr;
      if constexpr (sizeof(T) == 4)
        WriteRow32(*writer, rows[r].data(), previous, count);
      else
        WriteRow16(*writer, rows[r].data(), previous, count);
    }
  }
  auto back = again.Reader();
  std::vector<T> row(count);
  for (size_t r = 0; r < rows.size(); ++r) {
    const T* previous = withPrevious && r > 0 ? rows[r - 1].data() : nullptr;
    bool valid;
    if constexpr (sizeof(T) == 4)
      valid = ReadRow32(*back, row.data(), previous, count);
    else
      valid = ReadRow16(*back, row.data(), previous, count);
    if (!valid || row != rows[r]) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SetCodecFailureHook([](CodecFailure) { failed = true; });
  failed = false;
  constexpr size_t HeaderSize = 4 + 2 * CodecStreamCount;
  if (size < HeaderSize) return 0;
  const uint8_t flags = data[0];
  const size_t count = size_t(data[1] | data[2] << 8);
  const size_t rowCount = std::min<size_t>(data[3], 16);
  MemoryStreams streams;
  size_t at = HeaderSize;
  for (uint32_t s = 0; s < CodecStreamCount; ++s) {
    const size_t length = std::min<size_t>(size_t(data[4 + 2 * s] | data[5 + 2 * s] << 8), size - at);
    streams.bytes[s].assign(data + at, data + at + length);
    at += length;
  }
  const bool wide = (flags & 4) && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  SetRowTransformWideTest(wide ? +[] { return true; } : nullptr);
  if (flags & 1)
    ReadRows<uint16_t>(streams, count, rowCount, flags & 2);
  else
    ReadRows<uint32_t>(streams, count, rowCount, flags & 2);
  return 0;
}
