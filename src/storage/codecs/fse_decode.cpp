// FSE decoder. The stream is read from its end, 64 bits at a time: one
// refill serves four symbols (4 x 12 bits and 7 left over fit in 64), taken
// alternately from two states whose table lookups don't wait on each
// other. Near the stream's start a careful tail takes over.
//
// Damaged input can't steer it out of bounds: every state is below the
// table size by construction, reads never go below the stream's first byte,
// and each loop writes one output byte per turn into a buffer it checks,
// so it ends.
#include <bit>
#include <cstring>

#include "storage/codecs/fse.h"
#include "storage/codecs/fse_table.h"

static_assert(std::endian::native == std::endian::little, "the bit stream is read little-endian");

namespace {

struct DecodeEntry {
  uint16_t newState;  // the next state, before the bits read are added
  uint8_t symbol;
  uint8_t nbBits;
};

// Builds the decode table of counts that sum to 2^tableLog.
void BuildDecodeTable(DecodeEntry* table, const int16_t* norm, unsigned maxSymbolValue, unsigned tableLog) {
  const uint32_t tableSize = 1u << tableLog;
  uint8_t tableSymbol[FseMaxTableSize];
  FseSpreadSymbols(tableSymbol, norm, maxSymbolValue, tableLog);
  // A symbol's states, in table order, go to next states count, count + 1,
  // ..., 2 * count - 1: the encoder's state ranges, inverted.
  uint16_t symbolNext[FseMaxSymbolValue + 1];
  for (unsigned s = 0; s <= maxSymbolValue; ++s) symbolNext[s] = uint16_t(norm[s] == -1 ? 1 : norm[s]);
  for (uint32_t u = 0; u < tableSize; ++u) {
    const uint8_t symbol = tableSymbol[u];
    const uint32_t nextState = symbolNext[symbol]++;
    const uint32_t nbBits = tableLog - FseHighBit(nextState);
    table[u] = {uint16_t((nextState << nbBits) - tableSize), symbol, uint8_t(nbBits)};
  }
}

enum class StreamStatus { unfinished, endOfBuffer, completed, overflow };

// Reads the bit stream from its last bit down. `consumed` counts the bits
// of the container used, from the top; past the stream's start it keeps
// counting, which is how the end is found: the last symbol's update reads
// beyond it.
class BitReader {
 public:
  // The stream ends with the writer's end mark, a 1 bit in its last byte.
  FseError Init(const uint8_t* src, size_t size) {
    if (size == 0) return FseError::srcSizeWrong;
    const uint8_t lastByte = src[size - 1];
    if (lastByte == 0) return FseError::corruptionDetected;
    if (size >= 8) {
      start = src;
      ptr = src + size - 8;
      std::memcpy(&container, ptr, 8);
      consumed = 8 - FseHighBit(lastByte);
    } else {
      // A short stream is read from a zero-padded copy, so that every read
      // is a whole 8 bytes; the bytes that don't exist count as used.
      std::memcpy(shortCopy, src, size);
      start = ptr = shortCopy;
      std::memcpy(&container, shortCopy, 8);
      consumed = 8 - FseHighBit(lastByte) + unsigned(8 - size) * 8;
    }
    return FseError::none;
  }

  // nbBits at most 12, 0 allowed. Past 64 consumed bits the value is
  // meaningless but harmless; Reload reports the overflow.
  uint32_t Read(unsigned nbBits) {
    const uint32_t value = uint32_t((container << (consumed & 63)) >> 1 >> ((63 - nbBits) & 63));
    consumed += nbBits;
    return value;
  }

  StreamStatus Reload() {
    if (consumed > 64) return StreamStatus::overflow;
    if (ptr >= start + 8) {
      ptr -= consumed >> 3;
      consumed &= 7;
      std::memcpy(&container, ptr, 8);
      return StreamStatus::unfinished;
    }
    if (ptr == start) return consumed < 64 ? StreamStatus::endOfBuffer : StreamStatus::completed;
    size_t nbBytes = consumed >> 3;
    StreamStatus status = StreamStatus::unfinished;
    if (nbBytes > size_t(ptr - start)) {
      nbBytes = size_t(ptr - start);
      status = StreamStatus::endOfBuffer;
    }
    ptr -= nbBytes;
    consumed -= unsigned(nbBytes) * 8;
    std::memcpy(&container, ptr, 8);
    return status;
  }

  // Public for the fast loop of FseDecompress, which keeps them in registers.
  uint64_t container = 0;
  unsigned consumed = 0;
  const uint8_t* start = nullptr;
  const uint8_t* ptr = nullptr;

 private:
  uint8_t shortCopy[8] = {};
};

class DecodeState {
 public:
  DecodeState(const DecodeEntry* table, unsigned tableLog, BitReader& bits) : table(table) {
    state = bits.Read(tableLog);
    bits.Reload();
  }
  uint8_t Decode(BitReader& bits) {
    const DecodeEntry entry = table[state];
    state = entry.newState + bits.Read(entry.nbBits);
    return entry.symbol;
  }

  const DecodeEntry* table;
  uint32_t state;
};

}  // namespace

FseResult FseDecompress(void* dst, size_t dstCapacity, const void* src, size_t srcSize) {
  const FseResult corrupt{0, FseError::corruptionDetected};
  const uint8_t* in = static_cast<const uint8_t*>(src);
  uint8_t* out = static_cast<uint8_t*>(dst);

  FseNormalizedCounts norm;
  unsigned maxSymbolValue = 0;
  unsigned tableLog = 0;
  const FseResult header = FseReadCounts(norm, &maxSymbolValue, &tableLog, in, srcSize);
  if (header.IsError()) return header;

  DecodeEntry table[FseMaxTableSize];
  BuildDecodeTable(table, norm, maxSymbolValue, tableLog);

  BitReader bits;
  const FseError streamError = bits.Init(in + header.size, srcSize - header.size);
  if (streamError != FseError::none) return {0, streamError};
  // The first state read is the one the encoder finished last: it gives
  // byte 0.
  DecodeState state1(table, tableLog, bits);
  DecodeState state2(table, tableLog, bits);

  // Fast part: while a refill still leaves 8 bytes of stream below it, four
  // symbols can't run past the stream's start. The reader's fields and the
  // states live in locals here, so that nothing of the two chains of table
  // lookups goes through memory; the loop below then goes on exactly where
  // this one stops.
  size_t pos = 0;
  {
    uint64_t container = bits.container;
    unsigned consumed = bits.consumed;
    const uint8_t* ptr = bits.ptr;
    const uint8_t* const fastEnd = bits.start + 8;
    uint32_t s1 = state1.state, s2 = state2.state;
    auto step = [&](uint32_t& state) {
      const DecodeEntry entry = table[state];
      state = entry.newState + uint32_t((container << (consumed & 63)) >> 1 >> ((63 - entry.nbBits) & 63));
      consumed += entry.nbBits;
      return entry.symbol;
    };
    while ((consumed <= 64) & (ptr >= fastEnd) & (pos + 3 < dstCapacity)) {
      ptr -= consumed >> 3;
      consumed &= 7;
      std::memcpy(&container, ptr, 8);
      out[pos] = step(s1);
      out[pos + 1] = step(s2);
      out[pos + 2] = step(s1);
      out[pos + 3] = step(s2);
      pos += 4;
    }
    bits.container = container;
    bits.consumed = consumed;
    bits.ptr = ptr;
    state1.state = s1;
    state2.state = s2;
  }
  for (; (bits.Reload() == StreamStatus::unfinished) & (pos + 3 < dstCapacity); pos += 4) {
    out[pos] = state1.Decode(bits);
    out[pos + 1] = state2.Decode(bits);
    out[pos + 2] = state1.Decode(bits);
    out[pos + 3] = state2.Decode(bits);
  }

  // Tail: a check after every symbol. The update that reads past the
  // stream's start belongs to the second last byte; the other state then
  // holds the last.
  for (;;) {
    if (pos + 2 > dstCapacity) return corrupt;
    out[pos++] = state1.Decode(bits);
    if (bits.Reload() == StreamStatus::overflow) {
      out[pos++] = state2.Decode(bits);
      break;
    }
    if (pos + 2 > dstCapacity) return corrupt;
    out[pos++] = state2.Decode(bits);
    if (bits.Reload() == StreamStatus::overflow) {
      out[pos++] = state1.Decode(bits);
      break;
    }
  }
  if (pos != dstCapacity) return corrupt;
  return {pos};
}
