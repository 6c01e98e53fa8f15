// FSE encoder. The block is coded from its last byte back to its first, so
// that the decoder, reading the stream from its end, gives the bytes in
// order. Two states take turns, even positions on the first and odd on the
// second; their updates don't depend on each other, so the processor runs
// them side by side.
#include <bit>
#include <cstring>

#include "storage/codecs/fse.h"
#include "storage/codecs/fse_table.h"

static_assert(std::endian::native == std::endian::little, "the bit stream is stored little-endian");

namespace {

// Per symbol, what turns a state into the bits to write and the next
// state. nbBitsOut = (state + deltaNbBits) >> 16 gives the symbol's bits
// for this state with one add and shift: deltaNbBits puts the boundary
// where one bit fewer suffices at a multiple of 2^16.
struct SymbolTransform {
  int32_t deltaFindState;
  uint32_t deltaNbBits;
};

struct EncodeTable {
  unsigned tableLog;
  uint16_t nextState[FseMaxTableSize];  // by symbol, then by the symbol's state index
  SymbolTransform symbolTT[FseMaxSymbolValue + 1];
};

void BuildEncodeTable(EncodeTable& table, const int16_t* norm, unsigned maxSymbolValue, unsigned tableLog) {
  const uint32_t tableSize = 1u << tableLog;
  uint8_t tableSymbol[FseMaxTableSize];
  FseSpreadSymbols(tableSymbol, norm, maxSymbolValue, tableLog);

  // cumul[s]: where symbol s's run of states begins in nextState.
  uint16_t cumul[FseMaxSymbolValue + 2];
  cumul[0] = 0;
  for (unsigned s = 0; s <= maxSymbolValue; ++s)
    cumul[s + 1] = uint16_t(cumul[s] + (norm[s] == -1 ? 1 : norm[s]));
  for (uint32_t u = 0; u < tableSize; ++u) table.nextState[cumul[tableSymbol[u]]++] = uint16_t(tableSize + u);

  table.tableLog = tableLog;
  int32_t total = 0;
  for (unsigned s = 0; s <= maxSymbolValue; ++s) {
    SymbolTransform& tt = table.symbolTT[s];
    switch (norm[s]) {
      case 0:
        tt = {0, ((tableLog + 1) << 16) - tableSize};
        break;
      case -1:
      case 1:
        tt = {total - 1, (tableLog << 16) - tableSize};
        ++total;
        break;
      default: {
        const uint32_t maxBitsOut = tableLog - FseHighBit(uint32_t(norm[s] - 1));
        const uint32_t minStatePlus = uint32_t(norm[s]) << maxBitsOut;
        tt = {total - norm[s], (maxBitsOut << 16) - minStatePlus};
        total += norm[s];
      }
    }
  }
}

// Bits gather in 64 bits from the lowest up and go out as whole bytes with
// one unaligned 8-byte store. Four symbols of at most 12 bits and seven
// left-over bits fit between two flushes. A stream that runs into the last
// 8 bytes of room stops advancing, and Close reports it.
class BitWriter {
 public:
  BitWriter(uint8_t* dst, size_t capacity) : start(dst), ptr(dst), limit(dst + capacity - 8) {}

  void Add(uint32_t value, unsigned nbBits) {
    container |= uint64_t(value & ((uint32_t(1) << nbBits) - 1)) << bitPos;
    bitPos += nbBits;
  }
  void Flush() {
    const unsigned nbBytes = bitPos >> 3;
    std::memcpy(ptr, &container, 8);
    ptr += nbBytes;
    if (ptr > limit) ptr = limit;
    bitPos &= 7;
    container >>= nbBytes * 8;
  }
  // Adds the end mark, the 1 bit from which the reader finds the last bit
  // written; returns the stream's size, 0 if it didn't fit.
  size_t Close() {
    Add(1, 1);
    Flush();
    if (ptr >= limit) return 0;
    return size_t(ptr - start) + (bitPos > 0);
  }

 private:
  uint64_t container = 0;
  unsigned bitPos = 0;
  uint8_t* start;
  uint8_t* ptr;
  uint8_t* limit;
};

class EncodeState {
 public:
  // The first symbol coded needs no bits: the state starts at the lowest
  // state of that symbol, which the decoder ends on.
  EncodeState(const EncodeTable& table, uint8_t symbol) : table(table) {
    const SymbolTransform tt = table.symbolTT[symbol];
    const uint32_t nbBitsOut = (tt.deltaNbBits + (1 << 15)) >> 16;
    const uint32_t start = (nbBitsOut << 16) - tt.deltaNbBits;
    value = table.nextState[int32_t(start >> nbBitsOut) + tt.deltaFindState];
  }
  void Encode(BitWriter& bits, uint8_t symbol) {
    const SymbolTransform tt = table.symbolTT[symbol];
    const uint32_t nbBitsOut = (value + tt.deltaNbBits) >> 16;
    bits.Add(value, nbBitsOut);
    value = table.nextState[int32_t(value >> nbBitsOut) + tt.deltaFindState];
  }
  // The final state, which the decoder reads first.
  void Finish(BitWriter& bits) const {
    bits.Add(value, table.tableLog);
    bits.Flush();
  }

 private:
  const EncodeTable& table;
  uint32_t value;
};

// Codes src[0..srcSize), srcSize at least 3. Returns the stream's size, 0 if
// it didn't fit.
size_t EncodeStream(uint8_t* dst, size_t capacity, const uint8_t* src, size_t srcSize, const EncodeTable& table) {
  if (capacity <= 8) return 0;
  BitWriter bits(dst, capacity);
  const uint8_t* ip = src + srcSize;

  // Begin so that what is left is a multiple of four: the last byte goes to
  // the second state when the count is even, the first when odd, so that
  // byte 0 always ends on the first state.
  const bool odd = srcSize & 1;
  EncodeState state1(table, odd ? ip[-1] : ip[-2]);
  EncodeState state2(table, odd ? ip[-2] : ip[-1]);
  ip -= 2;
  if (odd) {
    state1.Encode(bits, *--ip);
    bits.Flush();
  }
  if ((srcSize - 2) & 2) {
    state2.Encode(bits, *--ip);
    state1.Encode(bits, *--ip);
    bits.Flush();
  }
  while (ip > src) {
    state2.Encode(bits, ip[-1]);
    state1.Encode(bits, ip[-2]);
    state2.Encode(bits, ip[-3]);
    state1.Encode(bits, ip[-4]);
    ip -= 4;
    bits.Flush();
  }
  state2.Finish(bits);
  state1.Finish(bits);
  return bits.Close();
}

// Byte counts in four interleaved tables, so that runs of one byte value
// don't stall on the same counter. Returns the largest count and sets
// *maxSymbolValue to the largest byte present.
uint32_t CountBytes(uint32_t* count, unsigned* maxSymbolValue, const uint8_t* src, size_t srcSize) {
  uint32_t lanes[4][FseMaxSymbolValue + 1] = {};
  size_t i = 0;
  for (; i + 4 <= srcSize; i += 4) {
    uint32_t word;
    std::memcpy(&word, src + i, 4);
    ++lanes[0][word & 0xFF];
    ++lanes[1][(word >> 8) & 0xFF];
    ++lanes[2][(word >> 16) & 0xFF];
    ++lanes[3][word >> 24];
  }
  for (; i < srcSize; ++i) ++lanes[0][src[i]];

  uint32_t maxCount = 0;
  *maxSymbolValue = 0;
  for (unsigned s = 0; s <= FseMaxSymbolValue; ++s) {
    count[s] = lanes[0][s] + lanes[1][s] + lanes[2][s] + lanes[3][s];
    if (count[s] > maxCount) maxCount = count[s];
    if (count[s] != 0) *maxSymbolValue = s;
  }
  return maxCount;
}

}  // namespace

FseResult FseCompress(void* dst, size_t dstCapacity, const void* src, size_t srcSize) {
  const uint8_t* in = static_cast<const uint8_t*>(src);
  uint8_t* out = static_cast<uint8_t*>(dst);
  if (srcSize <= 1) return {FseNotCompressible};
  if (srcSize > UINT32_MAX) return {0, FseError::srcSizeWrong};

  uint32_t count[FseMaxSymbolValue + 1];
  unsigned maxSymbolValue;
  const uint32_t maxCount = CountBytes(count, &maxSymbolValue, in, srcSize);
  if (maxCount == srcSize) {
    if (dstCapacity < 1) return {0, FseError::dstSizeTooSmall};
    out[0] = in[0];
    return {FseOneByteRepeated};
  }
  // No byte repeats, or none stands out: coding would only add a header.
  if (maxCount == 1 || maxCount < (srcSize >> 7)) return {FseNotCompressible};

  const unsigned tableLog = FseOptimalTableLog(FseDefaultTableLog, srcSize, maxSymbolValue);
  FseNormalizedCounts norm;
  const FseError normError = FseNormalizeCounts(norm, tableLog, count, srcSize, maxSymbolValue);
  if (normError != FseError::none) return {0, normError};

  const FseResult header = FseWriteCounts(out, dstCapacity, norm, maxSymbolValue, tableLog);
  if (header.IsError()) return header;

  EncodeTable table;
  BuildEncodeTable(table, norm, maxSymbolValue, tableLog);
  const size_t streamSize = EncodeStream(out + header.size, dstCapacity - header.size, in, srcSize, table);
  if (streamSize == 0) return {FseNotCompressible};
  // Coded blocks must save at least two bytes.
  const size_t codedSize = header.size + streamSize;
  if (codedSize >= srcSize - 1) return {FseNotCompressible};
  return {codedSize};
}
