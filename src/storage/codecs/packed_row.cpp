// Packing and unpacking of rows by byte class; the layout is in the header.
//
// Eight values are handled as whole 64-bit words (four 16-bit or two 32-bit
// values a word) with shifts and masks, so the only branches in a group are
// the loop's own: the class picks one of the precomputed payload forms by
// conditional moves and the length to advance by from a table. Runs and the
// final part, at most 31 values a row, take plain loops.
//
// The unpacker decodes a group straight from the input when 4 full-width
// payloads remain after its control byte, so that every fixed-size load
// stays inside; nearer the end it first copies the group's exact bytes into
// a zeroed buffer of that size and decodes from there.
#include "storage/codecs/packed_row.h"

#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "payloads are stored as little-endian words");

namespace {

inline uint64_t Load64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return v;
}

inline void Store64(uint8_t* p, uint64_t v) { std::memcpy(p, &v, 8); }

// Picks one of four words by a 2-bit class; written as a chain of selects,
// which compile to conditional moves, because the class of neighbouring
// chunks in a row is too irregular for a branch to predict well.
inline uint64_t Select(unsigned cls, uint64_t c0, uint64_t c1, uint64_t c2, uint64_t c3) {
  const uint64_t low = cls & 1 ? c1 : c0;
  const uint64_t high = cls & 1 ? c3 : c2;
  return cls & 2 ? high : low;
}

// ---------------------------------------------------------------- 16-bit rows

constexpr unsigned Payload16[4] = {0, 8, 12, 16};

// Class of 8 values held as 4 values a word.
inline unsigned Class16(uint64_t lo, uint64_t hi) {
  uint64_t m = lo | hi;
  m |= m >> 32;
  m = (m | m >> 16) & 0xFFFF;
  return unsigned(m != 0) + unsigned(m > 255) + unsigned(m > 4095);
}

// Low bytes of four 16-bit lanes, as 32 bits.
inline uint64_t NarrowBytes16(uint64_t w) {
  w &= 0x00FF00FF00FF00FFull;
  w = (w | w >> 8) & 0x0000FFFF0000FFFFull;
  return (w | w >> 16) & 0xFFFFFFFFull;
}

// Inverse of NarrowBytes16.
inline uint64_t WidenBytes16(uint64_t x) {
  x &= 0xFFFFFFFFull;
  x = (x | x << 16) & 0x0000FFFF0000FFFFull;
  return (x | x << 8) & 0x00FF00FF00FF00FFull;
}

// Four 12-bit values in 16-bit lanes, as 48 bits.
inline uint64_t Narrow12(uint64_t w) {
  w &= 0x0FFF0FFF0FFF0FFFull;
  w = (w & 0x00000FFF00000FFFull) | ((w >> 4) & 0x00FFF00000FFF000ull);
  return (w & 0xFFFFFFull) | ((w >> 8) & 0xFFFFFF000000ull);
}

// Inverse of Narrow12.
inline uint64_t Widen12(uint64_t x) {
  x &= 0xFFFFFFFFFFFFull;
  x = (x & 0xFFFFFFull) | ((x << 8) & 0x00FFFFFF00000000ull);
  return (x & 0x00000FFF00000FFFull) | ((x << 4) & 0x0FFF00000FFF0000ull);
}

// Writes the payload of 8 values as 16 bytes, of which the class's length
// count; returns that class.
inline unsigned PackChunk16(const uint16_t* values, uint8_t* out) {
  uint64_t lo, hi;
  std::memcpy(&lo, values, 8);
  std::memcpy(&hi, values + 4, 8);
  const unsigned cls = Class16(lo, hi);
  const uint64_t bytes = NarrowBytes16(lo) | NarrowBytes16(hi) << 32;
  const uint64_t twelveLo = Narrow12(lo), twelveHi = Narrow12(hi);
  Store64(out, Select(cls, 0, bytes, twelveLo | twelveHi << 48, lo));
  Store64(out + 8, Select(cls, 0, 0, twelveHi >> 16, hi));
  return cls;
}

// Decodes 8 values of class `cls` from 16 readable bytes.
inline void UnpackChunk16(const uint8_t* in, unsigned cls, uint16_t* values) {
  const uint64_t a = Load64(in), b = Load64(in + 8);
  const uint64_t lo = Select(cls, 0, WidenBytes16(a), Widen12(a), a);
  const uint64_t hi = Select(cls, 0, WidenBytes16(a >> 32), Widen12(a >> 48 | b << 16), b);
  std::memcpy(values, &lo, 8);
  std::memcpy(values + 4, &hi, 8);
}

// A run or the final part: `k` values, all bytes or all 16-bit.
uint8_t* PackRest16(const uint16_t* row, size_t k, uint8_t* out) {
  unsigned m = 0;
  for (size_t i = 0; i < k; ++i) m |= row[i];
  if (m <= 255) {
    *out++ = 1;
    for (size_t i = 0; i < k; ++i) *out++ = uint8_t(row[i]);
  } else {
    *out++ = 3;
    std::memcpy(out, row, 2 * k);
    out += 2 * k;
  }
  return out;
}

// ------------------------------------------------------ 32-bit and 24-bit rows

// `Wide` is the byte width of the widest class: 4, or 3 for the 24-bit form.
template <unsigned Wide>
constexpr unsigned Payload32[4] = {0, 8, 16, 8 * Wide};

inline unsigned Class32(const uint64_t w[4]) {
  uint64_t m = w[0] | w[1] | w[2] | w[3];
  m = (m | m >> 32) & 0xFFFFFFFFull;
  return unsigned(m != 0) + unsigned(m > 255) + unsigned(m > 65535);
}

// Two 32-bit lanes reduced to their low 8, 16 or 24 bits, packed together.
inline uint64_t Narrow8Of32(uint64_t w) { return (w & 0xFF) | ((w >> 24) & 0xFF00); }
inline uint64_t Narrow16Of32(uint64_t w) { return (w & 0xFFFF) | ((w >> 16) & 0xFFFF0000ull); }
inline uint64_t Narrow24Of32(uint64_t w) { return (w & 0xFFFFFF) | ((w >> 8) & 0xFFFFFF000000ull); }

// Their inverses: the low 16, 32 or 48 bits back to two 32-bit lanes.
inline uint64_t Widen8To32(uint64_t x) { return (x & 0xFF) | ((x & 0xFF00) << 24); }
inline uint64_t Widen16To32(uint64_t x) { return (x & 0xFFFF) | ((x & 0xFFFF0000ull) << 16); }
inline uint64_t Widen24To32(uint64_t x) { return (x & 0xFFFFFF) | ((x & 0xFFFFFF000000ull) << 8); }

// Writes the payload of 8 values as 8 * Wide bytes; returns the class.
template <unsigned Wide>
inline unsigned PackChunk32(const uint32_t* values, uint8_t* out) {
  uint64_t w[4];
  std::memcpy(w, values, 32);
  const unsigned cls = Class32(w);
  const uint64_t bytes =
      Narrow8Of32(w[0]) | Narrow8Of32(w[1]) << 16 | Narrow8Of32(w[2]) << 32 | Narrow8Of32(w[3]) << 48;
  const uint64_t halves0 = Narrow16Of32(w[0]) | Narrow16Of32(w[1]) << 32;
  const uint64_t halves1 = Narrow16Of32(w[2]) | Narrow16Of32(w[3]) << 32;
  uint64_t wide[4] = {w[0], w[1], w[2], w[3]};
  if constexpr (Wide == 3) {
    const uint64_t t0 = Narrow24Of32(w[0]), t1 = Narrow24Of32(w[1]);
    const uint64_t t2 = Narrow24Of32(w[2]), t3 = Narrow24Of32(w[3]);
    wide[0] = t0 | t1 << 48;
    wide[1] = t1 >> 16 | t2 << 32;
    wide[2] = t2 >> 32 | t3 << 16;
  }
  Store64(out, Select(cls, 0, bytes, halves0, wide[0]));
  Store64(out + 8, Select(cls, 0, 0, halves1, wide[1]));
  Store64(out + 16, cls == 3 ? wide[2] : 0);
  if constexpr (Wide == 4) Store64(out + 24, cls == 3 ? wide[3] : 0);
  return cls;
}

// Decodes 8 values of class `cls` from 8 * Wide readable bytes.
template <unsigned Wide>
inline void UnpackChunk32(const uint8_t* in, unsigned cls, uint32_t* values) {
  const uint64_t a0 = Load64(in), a1 = Load64(in + 8), a2 = Load64(in + 16);
  uint64_t wide[4];
  if constexpr (Wide == 4) {
    wide[0] = a0, wide[1] = a1, wide[2] = a2, wide[3] = Load64(in + 24);
  } else {
    wide[0] = Widen24To32(a0);
    wide[1] = Widen24To32(a0 >> 48 | a1 << 16);
    wide[2] = Widen24To32(a1 >> 32 | a2 << 32);
    wide[3] = Widen24To32(a2 >> 16);
  }
  uint64_t w[4];
  for (int i = 0; i < 4; ++i) {
    const uint64_t halves = i < 2 ? a0 : a1;
    w[i] = Select(cls, 0, Widen8To32(a0 >> 16 * i), Widen16To32(halves >> 32 * (i & 1)), wide[i]);
  }
  std::memcpy(values, w, 32);
}

template <unsigned Wide>
uint8_t* PackRest32(const uint32_t* row, size_t k, uint8_t* out) {
  uint32_t m = 0;
  for (size_t i = 0; i < k; ++i) m |= row[i];
  if (m <= 255) {
    *out++ = 0;
    for (size_t i = 0; i < k; ++i) *out++ = uint8_t(row[i]);
  } else if (m <= 65535) {
    *out++ = 1;
    for (size_t i = 0; i < k; ++i, out += 2) {
      const uint16_t v = uint16_t(row[i]);
      std::memcpy(out, &v, 2);
    }
  } else {
    *out++ = 3;
    for (size_t i = 0; i < k; ++i, out += Wide) std::memcpy(out, row + i, Wide);
  }
  return out;
}

// Every row form packs alike: groups of 32 values, a control byte of four
// 2-bit classes before their payloads, then runs and a final part that each
// carry a whole control byte.
// The chunk and rest packers are template arguments, so that they inline.
template <auto chunk, auto rest, class Value>
size_t PackRowOf(const Value* row, size_t count, uint8_t* out, const unsigned (&payload)[4]) {
  uint8_t* const start = out;
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    uint8_t* control = out++;
    unsigned classes = 0;
    for (unsigned k = 0; k < 4; ++k) {
      const unsigned cls = chunk(row + i + 8 * k, out);
      classes |= cls << 2 * k;
      out += payload[cls];
    }
    *control = uint8_t(classes);
  }
  for (; i < count; i += 8) out = rest(row + i, count - i < 8 ? count - i : 8, out);
  return size_t(out - start);
}

template <unsigned Wide>
size_t PackRow32Of(const uint32_t* row, size_t count, uint8_t* out) {
  return PackRowOf<PackChunk32<Wide>, PackRest32<Wide>>(row, count, out, Payload32<Wide>);
}

// The groups of 32 values of a row: a control byte of four 2-bit classes,
// then the four payloads. A group that may reach past the end of the input
// is checked for its exact size and decoded from a zeroed copy, so that the
// chunk readers may always load their widest payload. Leaves `i` at the
// first value of the rest.
template <size_t GroupMax, class Value, class Chunk>
PackedRowError UnpackGroups(const uint8_t*& in, const uint8_t* end, Value* row, size_t count, size_t& i,
                            const unsigned (&payload)[4], Chunk chunk) {
  for (; i + 32 <= count; i += 32) {
    if (in == end) return PackedRowError::truncated;
    const unsigned classes = in[0];
    const uint8_t* src = in;
    alignas(8) uint8_t padded[GroupMax];
    if (size_t(end - in) < GroupMax) {
      size_t groupSize = 1;
      for (unsigned k = 0; k < 4; ++k) groupSize += payload[(classes >> 2 * k) & 3];
      if (size_t(end - in) < groupSize) return PackedRowError::truncated;
      std::memset(padded, 0, GroupMax);  // payloads of the short classes are read as 16 or 32 bytes
      std::memcpy(padded, in, groupSize);
      src = padded;
    }
    size_t at = 1;
    for (unsigned k = 0; k < 4; ++k) {
      const unsigned cls = (classes >> 2 * k) & 3;
      chunk(src + at, cls, row + i + 8 * k);
      at += payload[cls];
    }
    in += at;
  }
  return PackedRowError::none;
}

template <unsigned Wide>
PackedRowResult UnpackRow32Of(const uint8_t* in, size_t inSize, uint32_t* row, size_t count) {
  constexpr size_t GroupMax = 1 + 4 * 8 * Wide;
  const uint8_t* const start = in;
  const uint8_t* const end = in + inSize;
  size_t i = 0;
  const PackedRowError groups = UnpackGroups<GroupMax>(in, end, row, count, i, Payload32<Wide>, UnpackChunk32<Wide>);
  if (groups != PackedRowError::none) return {size_t(in - start), groups};
  for (; i < count; i += 8) {
    const size_t k = count - i < 8 ? count - i : 8;
    if (in == end) return {size_t(in - start), PackedRowError::truncated};
    const unsigned control = *in;
    if (control > 3) return {size_t(in - start), PackedRowError::badControl};
    const size_t width = control == 0 ? 1 : control == 1 ? 2 : Wide;
    if (size_t(end - in) - 1 < k * width) return {size_t(in - start), PackedRowError::truncated};
    ++in;
    for (size_t j = 0; j < k; ++j, in += width) {
      uint32_t v = 0;
      std::memcpy(&v, in, width);
      row[i + j] = v;
    }
  }
  return {size_t(in - start), PackedRowError::none};
}

}  // namespace

size_t PackRow16(const uint16_t* row, size_t count, uint8_t* out) {
  return PackRowOf<PackChunk16, PackRest16>(row, count, out, Payload16);
}

PackedRowResult UnpackRow16(const uint8_t* in, size_t inSize, uint16_t* row, size_t count) {
  constexpr size_t GroupMax = 1 + 4 * 16;
  const uint8_t* const start = in;
  const uint8_t* const end = in + inSize;
  size_t i = 0;
  const PackedRowError groups = UnpackGroups<GroupMax>(in, end, row, count, i, Payload16, UnpackChunk16);
  if (groups != PackedRowError::none) return {size_t(in - start), groups};
  for (; i < count; i += 8) {
    const size_t k = count - i < 8 ? count - i : 8;
    if (in == end) return {size_t(in - start), PackedRowError::truncated};
    const unsigned control = *in;
    if (control != 1 && control != 3) return {size_t(in - start), PackedRowError::badControl};
    const size_t width = control == 1 ? 1 : 2;
    if (size_t(end - in) - 1 < k * width) return {size_t(in - start), PackedRowError::truncated};
    ++in;
    if (width == 1) {
      for (size_t j = 0; j < k; ++j) row[i + j] = in[j];
    } else {
      std::memcpy(row + i, in, 2 * k);
    }
    in += k * width;
  }
  return {size_t(in - start), PackedRowError::none};
}

size_t PackRow24(const uint32_t* row, size_t count, uint8_t* out) { return PackRow32Of<3>(row, count, out); }
size_t PackRow32(const uint32_t* row, size_t count, uint8_t* out) { return PackRow32Of<4>(row, count, out); }

PackedRowResult UnpackRow24(const uint8_t* in, size_t inSize, uint32_t* row, size_t count) {
  return UnpackRow32Of<3>(in, inSize, row, count);
}
PackedRowResult UnpackRow32(const uint8_t* in, size_t inSize, uint32_t* row, size_t count) {
  return UnpackRow32Of<4>(in, inSize, row, count);
}
