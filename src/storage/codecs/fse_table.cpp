#include "storage/codecs/fse_table.h"

#include <cstring>

const char* FseErrorName(FseError error) {
  switch (error) {
    case FseError::none: return "no error";
    case FseError::generic: return "FSE_ERROR_GENERIC";
    case FseError::tableLogTooLarge: return "FSE_ERROR_tableLog_tooLarge";
    case FseError::maxSymbolValueTooLarge: return "FSE_ERROR_maxSymbolValue_tooLarge";
    case FseError::maxSymbolValueTooSmall: return "FSE_ERROR_maxSymbolValue_tooSmall";
    case FseError::dstSizeTooSmall: return "FSE_ERROR_dstSize_tooSmall";
    case FseError::srcSizeWrong: return "FSE_ERROR_srcSize_wrong";
    case FseError::corruptionDetected: return "FSE_ERROR_corruptionDetected";
    case FseError::maxCode: return "FSE_ERROR_maxCode";
  }
  return "FSE_ERROR_GENERIC";
}

namespace {

// The smallest table log that still gives every symbol present a state.
unsigned MinTableLog(size_t srcSize, unsigned maxSymbolValue) {
  unsigned minBitsSrc = FseHighBit(uint32_t(srcSize)) + 1;
  unsigned minBitsSymbols = FseHighBit(maxSymbolValue | 1) + 2;
  return minBitsSrc < minBitsSymbols ? minBitsSrc : minBitsSymbols;
}

}  // namespace

unsigned FseOptimalTableLog(unsigned maxTableLog, size_t srcSize, unsigned maxSymbolValue) {
  // Unsigned on purpose: for blocks of 2 to 4 bytes the bound wraps around
  // and doesn't lower the log, as in the reference coder.
  unsigned maxBitsSrc = FseHighBit(uint32_t(srcSize - 1)) - 2;
  unsigned tableLog = maxTableLog ? maxTableLog : FseDefaultTableLog;
  unsigned minBits = MinTableLog(srcSize, maxSymbolValue);
  if (maxBitsSrc < tableLog) tableLog = maxBitsSrc;
  if (minBits > tableLog) tableLog = minBits;
  if (tableLog < FseMinTableLog) tableLog = FseMinTableLog;
  if (tableLog > FseMaxTableLog) tableLog = FseMaxTableLog;
  return tableLog;
}

namespace {

// The second normalisation, for distributions where rounding each count on
// its own hands the largest symbol too much to take back: rare symbols get
// their one state first, then the rest is shared out along a running total,
// so that the rounding errors cancel instead of piling up.
FseError NormalizeByRunningTotal(int16_t* norm, unsigned tableLog, const uint32_t* count, size_t total,
                                 unsigned maxSymbolValue) {
  const int16_t NotYetAssigned = -2;
  uint32_t distributed = 0;
  const uint32_t lowThreshold = uint32_t(total >> tableLog);
  uint32_t lowOne = uint32_t((total * 3) >> (tableLog + 1));

  for (unsigned s = 0; s <= maxSymbolValue; ++s) {
    if (count[s] == 0) {
      norm[s] = 0;
    } else if (count[s] <= lowThreshold) {
      norm[s] = -1;
      ++distributed;
      total -= count[s];
    } else if (count[s] <= lowOne) {
      norm[s] = 1;
      ++distributed;
      total -= count[s];
    } else {
      norm[s] = NotYetAssigned;
    }
  }
  uint32_t toDistribute = (1u << tableLog) - distributed;
  if (toDistribute == 0) return FseError::none;

  if (total / toDistribute > lowOne) {
    // What is left is shared by few symbols: those near one state would
    // round to none, so they take one now.
    lowOne = uint32_t((total * 3) / (toDistribute * 2));
    for (unsigned s = 0; s <= maxSymbolValue; ++s) {
      if (norm[s] == NotYetAssigned && count[s] <= lowOne) {
        norm[s] = 1;
        ++distributed;
        total -= count[s];
      }
    }
    toDistribute = (1u << tableLog) - distributed;
  }

  if (distributed == maxSymbolValue + 1) {
    // Every symbol is rare: the most frequent takes what is left.
    unsigned maxV = 0;
    uint32_t maxC = 0;
    for (unsigned s = 0; s <= maxSymbolValue; ++s)
      if (count[s] > maxC) {
        maxV = s;
        maxC = count[s];
      }
    norm[maxV] = int16_t(norm[maxV] + int16_t(toDistribute));
    return FseError::none;
  }

  if (total == 0) {
    // Only one-state symbols remain: hand out the rest round robin.
    for (unsigned s = 0; toDistribute > 0; s = (s + 1) % (maxSymbolValue + 1))
      if (norm[s] > 0) {
        --toDistribute;
        ++norm[s];
      }
    return FseError::none;
  }

  const uint64_t vStepLog = 62 - tableLog;
  const uint64_t mid = (uint64_t(1) << (vStepLog - 1)) - 1;
  const uint64_t rStep = ((uint64_t(1) << vStepLog) * toDistribute + mid) / total;
  uint64_t tmpTotal = mid;
  for (unsigned s = 0; s <= maxSymbolValue; ++s) {
    if (norm[s] != NotYetAssigned) continue;
    uint64_t end = tmpTotal + count[s] * rStep;
    uint32_t weight = uint32_t(end >> vStepLog) - uint32_t(tmpTotal >> vStepLog);
    if (weight < 1) return FseError::generic;
    norm[s] = int16_t(weight);
    tmpTotal = end;
  }
  return FseError::none;
}

}  // namespace

FseError FseNormalizeCounts(int16_t* norm, unsigned tableLog, const uint32_t* count, size_t total,
                            unsigned maxSymbolValue) {
  if (tableLog < FseMinTableLog) return FseError::generic;
  if (tableLog > FseMaxTableLog) return FseError::tableLogTooLarge;
  if (tableLog < MinTableLog(total, maxSymbolValue)) return FseError::generic;

  // Below 8 states a count is rounded up only when its remainder beats
  // these (in units of 2^-20 of a state): rounding a small count up costs
  // more bits than the plain half would suggest.
  static constexpr uint32_t RestToBeat[] = {0, 473195, 504333, 520860, 550000, 700000, 750000, 830000};
  const unsigned scale = 62 - tableLog;
  const uint64_t step = (uint64_t(1) << 62) / total;
  const uint64_t vStep = uint64_t(1) << (scale - 20);
  const uint32_t lowThreshold = uint32_t(total >> tableLog);
  int stillToDistribute = 1 << tableLog;
  unsigned largest = 0;
  int16_t largestP = 0;

  for (unsigned s = 0; s <= maxSymbolValue; ++s) {
    if (count[s] == 0) {
      norm[s] = 0;
      continue;
    }
    if (count[s] <= lowThreshold) {
      norm[s] = -1;
      --stillToDistribute;
      continue;
    }
    uint64_t scaled = count[s] * step;
    int16_t proba = int16_t(scaled >> scale);
    if (proba < 8) proba = int16_t(proba + (scaled - (uint64_t(proba) << scale) > vStep * RestToBeat[proba]));
    if (proba > largestP) {
      largestP = proba;
      largest = s;
    }
    norm[s] = proba;
    stillToDistribute -= proba;
  }
  // The largest symbol absorbs the rounding, unless that would cost it half
  // of its states.
  if (-stillToDistribute >= (norm[largest] >> 1))
    return NormalizeByRunningTotal(norm, tableLog, count, total, maxSymbolValue);
  norm[largest] = int16_t(norm[largest] + stillToDistribute);
  return FseError::none;
}

// Header layout, from the lowest bit of the first byte: the table log less
// 5 in 4 bits; then count + 1 of each symbol in turn, in a variable number
// of bits: with `remaining` states still to give out (plus one), values
// below 2 * threshold - 1 - remaining take one bit less than the others.
// After a count of 0, the number of further absent symbols follows in
// 2-bit steps (3 meaning "3 more, and continue"). The list ends at the
// symbol that gives out the last state; the bytes are little-endian.
FseResult FseWriteCounts(void* dst, size_t dstCapacity, const int16_t* norm, unsigned maxSymbolValue,
                         unsigned tableLog) {
  uint8_t* out = static_cast<uint8_t*>(dst);
  uint8_t* const end = out + dstCapacity;
  const int tableSize = 1 << tableLog;
  uint32_t bitStream = 0;
  int bitCount = 0;
  const unsigned alphabetSize = maxSymbolValue + 1;
  unsigned symbol = 0;
  bool previousIs0 = false;

  auto flush16 = [&]() {
    if (end - out < 2) return false;
    out[0] = uint8_t(bitStream);
    out[1] = uint8_t(bitStream >> 8);
    out += 2;
    bitStream >>= 16;
    bitCount -= 16;
    return true;
  };
  const FseResult tooSmall{0, FseError::dstSizeTooSmall};

  bitStream += uint32_t(tableLog - FseMinTableLog) << bitCount;
  bitCount += 4;
  int remaining = tableSize + 1;  // + 1: one value more to tell "absent" from "rare"
  int threshold = tableSize;
  int nbBits = int(tableLog) + 1;

  while (symbol < alphabetSize && remaining > 1) {
    if (previousIs0) {
      unsigned start = symbol;
      while (symbol < alphabetSize && norm[symbol] == 0) ++symbol;
      if (symbol == alphabetSize) break;
      while (symbol >= start + 24) {
        start += 24;
        bitStream += 0xFFFFu << bitCount;
        bitCount += 16;
        if (!flush16()) return tooSmall;
      }
      while (symbol >= start + 3) {
        start += 3;
        bitStream += 3u << bitCount;
        bitCount += 2;
      }
      bitStream += (symbol - start) << bitCount;
      bitCount += 2;
      if (bitCount > 16 && !flush16()) return tooSmall;
    }
    int count = norm[symbol++];
    const int max = (2 * threshold - 1) - remaining;
    remaining -= count < 0 ? -count : count;
    ++count;
    if (count >= threshold) count += max;
    bitStream += uint32_t(count) << bitCount;
    bitCount += nbBits - (count < max);
    previousIs0 = count == 1;
    if (remaining < 1) return {0, FseError::generic};
    while (remaining < threshold) {
      --nbBits;
      threshold >>= 1;
    }
    if (bitCount > 16 && !flush16()) return tooSmall;
  }
  if (remaining != 1) return {0, FseError::generic};

  const int lastBytes = (bitCount + 7) / 8;
  if (end - out < lastBytes) return tooSmall;
  for (int i = 0; i < lastBytes; ++i) out[i] = uint8_t(bitStream >> (8 * i));
  out += lastBytes;
  return {size_t(out - static_cast<uint8_t*>(dst)), FseError::none};
}

namespace {

// Reads the header's bits from the lowest up. Past the end it sees zeros;
// the caller compares the bits used with the size afterwards, so a header
// cut short is found without a check on every read.
class HeaderBits {
 public:
  HeaderBits(const uint8_t* src, size_t size) : src(src), size(size) {}

  // The next 32 bits.
  uint32_t Peek() const {
    size_t byte = bitPos >> 3;
    uint64_t window = 0;
    if (size >= 8 && byte <= size - 8) {
      std::memcpy(&window, src + byte, 8);
    } else {
      for (size_t i = 0; i < 8 && byte + i < size; ++i) window |= uint64_t(src[byte + i]) << (8 * i);
    }
    return uint32_t(window >> (bitPos & 7));
  }
  void Skip(unsigned nbBits) { bitPos += nbBits; }
  size_t BytesUsed() const { return (bitPos + 7) >> 3; }

 private:
  const uint8_t* src;
  size_t size;
  size_t bitPos = 0;
};

}  // namespace

FseResult FseReadCounts(int16_t* norm, unsigned* maxSymbolValue, unsigned* tableLog, const void* src,
                        size_t srcSize) {
  const FseResult corrupt{0, FseError::corruptionDetected};
  if (srcSize == 0) return {0, FseError::srcSizeWrong};
  HeaderBits bits(static_cast<const uint8_t*>(src), srcSize);
  std::memset(norm, 0, sizeof(FseNormalizedCounts));

  const unsigned log = (bits.Peek() & 0xF) + FseMinTableLog;
  if (log > FseMaxTableLog) return {0, FseError::tableLogTooLarge};
  bits.Skip(4);
  int remaining = (1 << log) + 1;
  int threshold = 1 << log;
  int nbBits = int(log) + 1;
  const unsigned alphabetSize = FseMaxSymbolValue + 1;
  unsigned symbol = 0;
  bool previousIs0 = false;

  for (;;) {
    if (previousIs0) {
      unsigned repeat;
      do {
        repeat = bits.Peek() & 3;
        bits.Skip(2);
        symbol += repeat;
      } while (repeat == 3 && symbol < alphabetSize);
      if (symbol >= alphabetSize) break;
    }
    const uint32_t window = bits.Peek();
    const int max = (2 * threshold - 1) - remaining;
    int count;
    if (int(window & uint32_t(threshold - 1)) < max) {
      count = int(window & uint32_t(threshold - 1));
      bits.Skip(unsigned(nbBits - 1));
    } else {
      count = int(window & uint32_t(2 * threshold - 1));
      if (count >= threshold) count -= max;
      bits.Skip(unsigned(nbBits));
    }
    --count;
    remaining -= count < 0 ? -count : count;
    norm[symbol++] = int16_t(count);
    previousIs0 = count == 0;
    if (remaining < threshold) {
      if (remaining <= 1) break;
      nbBits = int(FseHighBit(uint32_t(remaining))) + 1;
      threshold = 1 << (nbBits - 1);
    }
    if (symbol >= alphabetSize) break;
  }
  // Counts must give out every state exactly, within the bytes given.
  if (remaining != 1 || bits.BytesUsed() > srcSize) return corrupt;
  *maxSymbolValue = symbol - 1;
  *tableLog = log;
  return {bits.BytesUsed(), FseError::none};
}

// States are dealt out with a fixed odd step, so that each symbol's states
// scatter over the table; the -1 symbols sit at the top in symbol order,
// and the walk steps over them.
//
// The walk is done without its inner loop: the symbols are first laid out
// in order, 8 bytes at a time, and then the k-th cell of the step's cycle
// takes the next of them only if it lies below the -1 symbols. Cells above
// are written with junk and put right at the end. The step is odd, so the
// cycle meets every cell once, in the order the walk would.
void FseSpreadSymbols(uint8_t* tableSymbol, const int16_t* norm, unsigned maxSymbolValue, unsigned tableLog) {
  const uint32_t tableSize = 1u << tableLog;
  const uint32_t tableMask = tableSize - 1;
  const uint32_t step = (tableSize >> 1) + (tableSize >> 3) + 3;

  uint8_t laid[(1u << FseMaxTableLog) + 16];
  size_t at = 0;
  uint64_t eight = 0;  // the symbol in every byte
  for (unsigned s = 0; s <= maxSymbolValue; ++s, eight += 0x0101010101010101ull) {
    const int n = norm[s];
    if (n <= 0) continue;
    for (int i = 0; i < n; i += 8) std::memcpy(laid + at + size_t(i), &eight, 8);
    at += size_t(n);
  }
  uint32_t highThreshold = tableMask;
  for (unsigned s = 0; s <= maxSymbolValue; ++s) highThreshold -= norm[s] == -1;

  size_t next = 0;
  uint32_t position = 0;
  for (uint32_t k = 0; k < tableSize; ++k) {
    tableSymbol[position] = laid[next];
    next += position <= highThreshold;
    position = (position + step) & tableMask;
  }
  uint32_t top = tableMask;
  for (unsigned s = 0; s <= maxSymbolValue; ++s)
    if (norm[s] == -1) tableSymbol[top--] = uint8_t(s);
}
