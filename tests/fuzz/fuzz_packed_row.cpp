// Fuzz target: the packed row readers on arbitrary bytes and counts.
//
// The first two bytes give the row's count (0 to 65535, far past any real
// row, so that counts and data disagree both ways); the rest is read as a
// 16-bit, a 24-bit and a 32-bit row. The input is copied to a buffer of its
// exact size and the rows are sized exactly, so the sanitizers see any
// stray access. A row that reads must have used no more than the input,
// and must pack again within the bound and read back to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "storage/codecs/packed_row.h"

namespace {

template <typename T, typename Unpack, typename Pack>
void Check(const std::vector<uint8_t>& in, size_t count, size_t bound, Unpack unpack, Pack pack) {
  std::vector<T> row(count);
  const PackedRowResult r = unpack(in.data(), in.size(), row.data(), count);
  if (r.size > in.size()) std::abort();
  if (r.IsError()) return;
  std::vector<uint8_t> packed(bound);
  const size_t size = pack(row.data(), count, packed.data());
  if (size > bound) std::abort();
  packed.resize(size);
  std::vector<T> back(count);
  const PackedRowResult b = unpack(packed.data(), size, back.data(), count);
  if (b.IsError() || b.size != size || back != row) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t count = size_t(data[0] | data[1] << 8);
  const std::vector<uint8_t> in(data + 2, data + size);
  Check<uint16_t>(in, count, PackedRow16Bound(count), UnpackRow16, PackRow16);
  Check<uint32_t>(in, count, PackedRow24Bound(count), UnpackRow24, PackRow24);
  Check<uint32_t>(in, count, PackedRow32Bound(count), UnpackRow32, PackRow32);
  return 0;
}
