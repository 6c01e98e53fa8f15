// Fuzz target: the FSE byte coder on arbitrary bytes.
//
// The first two bytes give a raw size (1 to 65536, the block size of the
// row streams) and the rest is taken as a coded block: decoding must end in
// an error or exactly that many bytes, and never touch memory outside the
// buffers, which are sized exactly so that the sanitizers see any stray
// access. The whole input is then coded and must decode to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "storage/codecs/fse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size >= 2) {
    const size_t rawSize = size_t(data[0] | data[1] << 8) + 1;
    std::vector<uint8_t> coded(data + 2, data + size);  // exact size: no slack to hide an over-read
    std::vector<uint8_t> raw(rawSize);
    const FseResult r = FseDecompress(raw.data(), rawSize, coded.data(), coded.size());
    if (!r.IsError() && r.size != rawSize) std::abort();
  }

  std::vector<uint8_t> coded(FseCompressBound(size));
  const FseResult c = FseCompress(coded.data(), coded.size(), data, size);
  if (c.IsError()) std::abort();
  if (c.size == FseNotCompressible) return 0;
  if (c.size == FseOneByteRepeated) {
    for (size_t i = 0; i < size; ++i)
      if (data[i] != coded[0]) std::abort();
    return 0;
  }
  std::vector<uint8_t> back(size);
  const FseResult d = FseDecompress(back.data(), size, coded.data(), c.size);
  if (d.IsError() || d.size != size || std::memcmp(back.data(), data, size) != 0) std::abort();
  return 0;
}
