#include "storage/codecs/row_transform.h"

#include <emmintrin.h>

#include <atomic>

#include "storage/codecs/row_transform_avx512.h"

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

namespace {

// Null until the program installs its selector: tests and fuzz targets
// that don't ask for the wide forms get the plain ones.
std::atomic<RowTransformWideTest> wideTest{nullptr};

bool UseWideForms() {
  const RowTransformWideTest test = wideTest.load(std::memory_order_relaxed);
  return test && test();
}

// The inverse as a running sum: x[i] = start[i] + (unzig(s[0]) + ... +
// unzig(s[i])), with start[i] = p[i] in mode 1 and p[0] (or 0) in mode 0,
// which is the recurrence of InverseRow unrolled. Modulo 65536 only the
// low 16 bits of each step matter, so eight steps are summed at a time in
// 16-bit lanes by three shifted adds. SSE2 is in every x86-64, so this
// form needs no choice.
template <bool FollowPrevious>
void InverseRow16Plain(const uint32_t* s, const uint16_t* p, uint16_t* x, size_t n) {
  const uint16_t base = p ? p[0] : 0;
  const __m128i one = _mm_set1_epi32(1), zero = _mm_setzero_si128();
  __m128i sum = zero;  // the running sum before this step, in every lane
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128i z0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
    __m128i z1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + 4));
    z0 = _mm_xor_si128(_mm_srli_epi32(z0, 1), _mm_sub_epi32(zero, _mm_and_si128(z0, one)));
    z1 = _mm_xor_si128(_mm_srli_epi32(z1, 1), _mm_sub_epi32(zero, _mm_and_si128(z1, one)));
    // The low halves, sign-extended first so that the signed pack keeps them.
    z0 = _mm_srai_epi32(_mm_slli_epi32(z0, 16), 16);
    z1 = _mm_srai_epi32(_mm_slli_epi32(z1, 16), 16);
    __m128i v = _mm_packs_epi32(z0, z1);
    v = _mm_add_epi16(v, _mm_slli_si128(v, 2));
    v = _mm_add_epi16(v, _mm_slli_si128(v, 4));
    v = _mm_add_epi16(v, _mm_slli_si128(v, 8));
    // The step's own total is spread from its last lane before the running
    // sum comes in, so that only one add per step waits on the step before.
    const __m128i last = _mm_shufflehi_epi16(v, 0xFF);
    v = _mm_add_epi16(v, sum);
    sum = _mm_add_epi16(sum, _mm_unpackhi_epi64(last, last));
    const __m128i start = FollowPrevious ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i))
                                         : _mm_set1_epi16(int16_t(base));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(x + i), _mm_add_epi16(v, start));
  }
  uint16_t total = uint16_t(_mm_cvtsi128_si32(sum));
  for (; i < n; ++i) {
    total = uint16_t(total + uint32_t(ZigzagDecode(s[i])));
    x[i] = uint16_t((FollowPrevious ? p[i] : base) + total);
  }
}

// The transform of 16-bit rows, eight hands a step in SSE2: the values
// widened to 32 bits, so that steps are taken exactly as the generic form
// takes them, and the zero steps of both candidates counted in vector lanes.
struct Widened8 {
  __m128i low, high;
};

inline Widened8 Widen8(const uint16_t* at) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  return {_mm_unpacklo_epi16(v, _mm_setzero_si128()), _mm_unpackhi_epi16(v, _mm_setzero_si128())};
}

// Eight steps at[k] - at[k - 1].
inline Widened8 Steps8(const uint16_t* at) {
  const Widened8 to = Widen8(at), from = Widen8(at - 1);
  return {_mm_sub_epi32(to.low, from.low), _mm_sub_epi32(to.high, from.high)};
}

inline __m128i Zigzag4(__m128i d) { return _mm_xor_si128(_mm_slli_epi32(d, 1), _mm_srai_epi32(d, 31)); }

inline void StoreZigzag8(uint32_t* s, Widened8 d) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(s), Zigzag4(d.low));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(s + 4), Zigzag4(d.high));
}

// Adds 1 to each lane of count where d is zero (compare masks are -1).
inline __m128i CountZeros8(__m128i count, Widened8 d) {
  const __m128i zero = _mm_setzero_si128();
  return _mm_sub_epi32(_mm_sub_epi32(count, _mm_cmpeq_epi32(d.low, zero)), _mm_cmpeq_epi32(d.high, zero));
}

inline uint32_t LaneSum(__m128i v) {
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), v);
  return lanes[0] + lanes[1] + lanes[2] + lanes[3];
}

uint8_t TransformRow16Plain(const uint16_t* x, const uint16_t* p, uint32_t* s, size_t n) {
  if (n == 0) return RowModeLeft;
  if (!p) {
    s[0] = ZigzagEncode(int32_t(uint32_t(x[0])));
    size_t i = 1;
    for (; i + 8 <= n; i += 8) StoreZigzag8(s + i, Steps8(x + i));
    for (; i < n; ++i) s[i] = ZigzagEncode(Step(x[i], x[i - 1]));
    return RowModeLeft;
  }

  // As the generic form: write the left-step candidate, count both, and
  // make a second pass only when the other wins.
  s[0] = ZigzagEncode(Step(x[0], p[0]));
  __m128i zerosLeft = _mm_setzero_si128(), zerosBoth = _mm_setzero_si128();
  size_t i = 1;
  for (; i + 8 <= n; i += 8) {
    const Widened8 left = Steps8(x + i), before = Steps8(p + i);
    const Widened8 both = {_mm_sub_epi32(left.low, before.low), _mm_sub_epi32(left.high, before.high)};
    StoreZigzag8(s + i, left);
    zerosLeft = CountZeros8(zerosLeft, left);
    zerosBoth = CountZeros8(zerosBoth, both);
  }
  size_t nonZeroLeft = (i - 1) - LaneSum(zerosLeft), nonZeroBoth = (i - 1) - LaneSum(zerosBoth);
  const size_t vectorEnd = i;
  for (; i < n; ++i) {
    const int32_t left = Step(x[i], x[i - 1]);
    s[i] = ZigzagEncode(left);
    nonZeroLeft += left != 0;
    nonZeroBoth += left != Step(p[i], p[i - 1]);
  }
  if (nonZeroBoth >= nonZeroLeft) return RowModeLeft;
  for (i = 1; i < vectorEnd; i += 8) {
    const Widened8 left = Steps8(x + i), before = Steps8(p + i);
    StoreZigzag8(s + i, {_mm_sub_epi32(left.low, before.low), _mm_sub_epi32(left.high, before.high)});
  }
  for (; i < n; ++i) s[i] = ZigzagEncode(Step(uint32_t(Step(x[i], x[i - 1])), uint32_t(Step(p[i], p[i - 1]))));
  return RowModeLeftAndPrevious;
}

}  // namespace

RowTransformWideTest SetRowTransformWideTest(RowTransformWideTest test) {
  return wideTest.exchange(test, std::memory_order_relaxed);
}

uint8_t TransformRow32(const uint32_t* row, const uint32_t* previous, uint32_t* symbols, size_t count) {
  return TransformRow(row, previous, symbols, count);
}

uint8_t TransformRow16(const uint16_t* row, const uint16_t* previous, uint32_t* symbols, size_t count) {
  if (UseWideForms()) return TransformRow16Avx512(row, previous, symbols, count);
  return TransformRow16Plain(row, previous, symbols, count);
}

void InverseRow32(const uint32_t* symbols, const uint32_t* previous, uint32_t* row, size_t count, uint8_t mode) {
  InverseRow(symbols, previous, row, count, mode);
}

void InverseRow16(const uint32_t* symbols, const uint16_t* previous, uint16_t* row, size_t count, uint8_t mode) {
  if (UseWideForms()) return InverseRow16Avx512(symbols, previous, row, count, mode);
  if (mode == RowModeLeftAndPrevious && previous)
    InverseRow16Plain<true>(symbols, previous, row, count);
  else
    InverseRow16Plain<false>(symbols, previous, row, count);
}
