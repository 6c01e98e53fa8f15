#include "storage/codecs/row_transform.h"

namespace {

// The difference of two values in 32-bit wrapping arithmetic, as a signed
// number; computed unsigned so that no overflow is undefined.
inline int32_t Step(uint32_t to, uint32_t from) { return int32_t(to - from); }

template <typename T>
uint8_t TransformRow(const T* x, const T* p, uint32_t* s, size_t n) {
  if (n == 0) return RowModeLeft;
  if (!p) {
    s[0] = ZigzagEncode(int32_t(uint32_t(x[0])));
    for (size_t i = 1; i < n; ++i) s[i] = ZigzagEncode(Step(x[i], x[i - 1]));
    return RowModeLeft;
  }

  // One pass writes the left-step candidate and only counts the other, so
  // no second buffer is needed; the rare win of the other costs a second
  // pass. Counting with additions of comparisons keeps the loop branch-free.
  s[0] = ZigzagEncode(Step(x[0], p[0]));
  size_t nonZeroLeft = 0, nonZeroBoth = 0;
  for (size_t i = 1; i < n; ++i) {
    const int32_t left = Step(x[i], x[i - 1]);
    const int32_t before = Step(p[i], p[i - 1]);
    s[i] = ZigzagEncode(left);
    nonZeroLeft += s[i] != 0;
    nonZeroBoth += Step(uint32_t(left), uint32_t(before)) != 0;
  }
  if (nonZeroBoth >= nonZeroLeft) return RowModeLeft;
  for (size_t i = 1; i < n; ++i)
    s[i] = ZigzagEncode(Step(uint32_t(Step(x[i], x[i - 1])), uint32_t(Step(p[i], p[i - 1]))));
  return RowModeLeftAndPrevious;
}

template <typename T>
void InverseRow(const uint32_t* s, const T* p, T* x, size_t n, uint8_t mode) {
  if (n == 0) return;
  uint32_t value = uint32_t(ZigzagDecode(s[0])) + (p ? uint32_t(p[0]) : 0u);
  x[0] = T(value);
  if (mode == RowModeLeftAndPrevious && p) {
    for (size_t i = 1; i < n; ++i) {
      value += uint32_t(p[i]) - uint32_t(p[i - 1]) + uint32_t(ZigzagDecode(s[i]));
      x[i] = T(value);
    }
  } else {
    for (size_t i = 1; i < n; ++i) {
      value += uint32_t(ZigzagDecode(s[i]));
      x[i] = T(value);
    }
  }
}

}  // namespace

uint8_t TransformRow32(const uint32_t* row, const uint32_t* previous, uint32_t* symbols, size_t count) {
  return TransformRow(row, previous, symbols, count);
}

uint8_t TransformRow16(const uint16_t* row, const uint16_t* previous, uint32_t* symbols, size_t count) {
  return TransformRow(row, previous, symbols, count);
}

void InverseRow32(const uint32_t* symbols, const uint32_t* previous, uint32_t* row, size_t count, uint8_t mode) {
  InverseRow(symbols, previous, row, count, mode);
}

void InverseRow16(const uint32_t* symbols, const uint16_t* previous, uint16_t* row, size_t count, uint8_t mode) {
  InverseRow(symbols, previous, row, count, mode);
}
