#include "storage/codecs/row_transform_avx512.h"

#include <immintrin.h>

#include "storage/codecs/row_transform.h"

// Compiled per function for the 512-bit sets, as the rest of the program
// starts on any AVX processor. No lambdas: their bodies would not inherit
// the target. The zero-masked forms of conversions and shifts, with all
// lanes set where no mask is needed: the unmasked ones pass an undefined
// register that GCC 12 warns about.
#define CODEC_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl")))

namespace {

constexpr __mmask16 AllLanes = 0xFFFF;

CODEC_AVX512 inline __mmask16 StepMask(size_t rest) { return rest >= 16 ? AllLanes : __mmask16((1u << rest) - 1); }

// Sixteen 16-bit values from row + at, widened; lanes outside the mask are 0.
CODEC_AVX512 inline __m512i Widened(const uint16_t* row, size_t at, __mmask16 mask) {
  return _mm512_maskz_cvtepu16_epi32(mask, _mm256_maskz_loadu_epi16(mask, row + at));
}

CODEC_AVX512 inline __m512i Zigzag(__m512i d) { return _mm512_xor_si512(_mm512_maskz_slli_epi32(AllLanes, d, 1), _mm512_maskz_srai_epi32(AllLanes, d, 31)); }

CODEC_AVX512 inline __m512i Unzigzag(__m512i z) {
  const __m512i low = _mm512_and_si512(z, _mm512_set1_epi32(1));
  return _mm512_xor_si512(_mm512_maskz_srli_epi32(AllLanes, z, 1), _mm512_sub_epi32(_mm512_setzero_si512(), low));
}

// Each candidate's symbol is non-zero exactly where its difference is, so
// the counts are popcounts of test masks, limited to the lanes in the row.
CODEC_AVX512 inline unsigned NonZero(__m512i d, __mmask16 mask) {
  return unsigned(__builtin_popcount(_mm512_mask_test_epi32_mask(mask, d, d)));
}

// A running sum over sixteen 16-bit lanes: four adds of the vector moved up
// by 1, 2, 4 and 8 lanes, zeros shifted in.
CODEC_AVX512 inline __m256i PrefixSum16(__m256i v) {
  const __m256i lanes = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  for (int shift = 1; shift < 16; shift *= 2) {
    const __m256i from = _mm256_sub_epi16(lanes, _mm256_set1_epi16(int16_t(shift)));
    const __mmask16 keep = __mmask16(0xFFFFu << shift);
    v = _mm256_add_epi16(v, _mm256_maskz_permutexvar_epi16(keep, from, v));
  }
  return v;
}

}  // namespace

CODEC_AVX512 uint8_t TransformRow16Avx512(const uint16_t* x, const uint16_t* p, uint32_t* s, size_t n) {
  if (n == 0) return RowModeLeft;
  if (!p) {
    s[0] = ZigzagEncode(int32_t(uint32_t(x[0])));
    for (size_t i = 1; i < n; i += 16) {
      const __mmask16 mask = StepMask(n - i);
      const __m512i left = _mm512_sub_epi32(Widened(x, i, mask), Widened(x, i - 1, mask));
      _mm512_mask_storeu_epi32(s + i, mask, Zigzag(left));
    }
    return RowModeLeft;
  }

  // As the plain form: write the left-step candidate, count both, and make
  // a second pass only when the other wins.
  s[0] = ZigzagEncode(int32_t(uint32_t(x[0]) - uint32_t(p[0])));
  unsigned nonZeroLeft = 0, nonZeroBoth = 0;
  for (size_t i = 1; i < n; i += 16) {
    const __mmask16 mask = StepMask(n - i);
    const __m512i left = _mm512_sub_epi32(Widened(x, i, mask), Widened(x, i - 1, mask));
    const __m512i before = _mm512_sub_epi32(Widened(p, i, mask), Widened(p, i - 1, mask));
    const __m512i both = _mm512_sub_epi32(left, before);
    _mm512_mask_storeu_epi32(s + i, mask, Zigzag(left));
    nonZeroLeft += NonZero(left, mask);
    nonZeroBoth += NonZero(both, mask);
  }
  if (nonZeroBoth >= nonZeroLeft) return RowModeLeft;
  for (size_t i = 1; i < n; i += 16) {
    const __mmask16 mask = StepMask(n - i);
    const __m512i left = _mm512_sub_epi32(Widened(x, i, mask), Widened(x, i - 1, mask));
    const __m512i before = _mm512_sub_epi32(Widened(p, i, mask), Widened(p, i - 1, mask));
    _mm512_mask_storeu_epi32(s + i, mask, Zigzag(_mm512_sub_epi32(left, before)));
  }
  return RowModeLeftAndPrevious;
}

// The running-sum form of the inverse, as the plain form explains it:
// sixteen steps narrowed to 16 bits (only those bits reach the row), summed
// in the register and carried on in every lane.
CODEC_AVX512 void InverseRow16Avx512(const uint32_t* s, const uint16_t* p, uint16_t* x, size_t n, uint8_t mode) {
  const bool followPrevious = mode == RowModeLeftAndPrevious && p;
  const __m256i base = _mm256_set1_epi16(int16_t(p ? p[0] : 0));
  const __m256i lastLane = _mm256_set1_epi16(15);
  __m256i sum = _mm256_setzero_si256();
  for (size_t i = 0; i < n; i += 16) {
    const __mmask16 mask = StepMask(n - i);
    const __m512i steps = Unzigzag(_mm512_maskz_loadu_epi32(mask, s + i));
    // Only the last add waits on the step before: the step's own total is
    // spread from its last lane beside it.
    const __m256i local = PrefixSum16(_mm512_maskz_cvtepi32_epi16(AllLanes, steps));
    const __m256i v = _mm256_add_epi16(local, sum);
    sum = _mm256_add_epi16(sum, _mm256_permutexvar_epi16(lastLane, local));
    const __m256i start = followPrevious ? _mm256_maskz_loadu_epi16(mask, p + i) : base;
    _mm256_mask_storeu_epi16(x + i, mask, _mm256_add_epi16(v, start));
  }
}
