#include "storage/kernels/u16_regret_matching_avx512.h"

#include <immintrin.h>

#include "setup/avx512_forms.h"

// Each kernel is one step function, called with a full mask for the blocks
// of sixteen and once with a partial mask for the rest. Lanes outside the
// mask load zeros, so their total is zero and they divide nothing; they are
// not stored. No lambdas: a lambda's body would not inherit the target.

namespace {

KESTRUNE_AVX512_TARGET inline __mmask16 TailMask(int rest) { return __mmask16((1u << rest) - 1); }

// Sixteen 16-bit elements widened to float (exact). The zero-masked
// conversions, although the lanes outside the mask are zeros already: the
// unmasked ones pass an undefined register that GCC 12 warns about.
KESTRUNE_AVX512_TARGET inline __m512 LoadWidened(const uint16_t* row, __mmask16 mask) {
  __m512i widened = _mm512_maskz_cvtepu16_epi32(mask, _mm256_maskz_loadu_epi16(mask, row));
  return _mm512_maskz_cvtepi32_ps(mask, widened);
}

KESTRUNE_AVX512_TARGET inline __mmask16 PositiveTotal(__m512 sum) {
  return _mm512_cmp_ps_mask(sum, _mm512_setzero_ps(), _CMP_GT_OQ);
}

// Regrets over the total where it is positive, else the fallback.
KESTRUNE_AVX512_TARGET inline __m512 Quotient(__m512 regret, __m512 sum, __mmask16 ok, __m512 fallback) {
  return _mm512_mask_div_ps(fallback, ok, regret, sum);
}

KESTRUNE_AVX512_TARGET inline void Match2Step(const uint16_t* r0, const uint16_t* r1, float* o0, float* o1,
                                              __m512 f0, __m512 f1, __mmask16 mask) {
  __m512 a = LoadWidened(r0, mask), b = LoadWidened(r1, mask);
  __m512 sum = _mm512_add_ps(a, b);
  __mmask16 ok = PositiveTotal(sum);
  _mm512_mask_storeu_ps(o0, mask, Quotient(a, sum, ok, f0));
  _mm512_mask_storeu_ps(o1, mask, Quotient(b, sum, ok, f1));
}

KESTRUNE_AVX512_TARGET inline void Match3Step(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2, float* o0,
                                              float* o1, float* o2, __m512 f0, __m512 f1, __m512 f2,
                                              __mmask16 mask) {
  __m512 a = LoadWidened(r0, mask), b = LoadWidened(r1, mask), c = LoadWidened(r2, mask);
  __m512 sum = _mm512_add_ps(_mm512_add_ps(a, b), c);
  __mmask16 ok = PositiveTotal(sum);
  _mm512_mask_storeu_ps(o0, mask, Quotient(a, sum, ok, f0));
  _mm512_mask_storeu_ps(o1, mask, Quotient(b, sum, ok, f1));
  _mm512_mask_storeu_ps(o2, mask, Quotient(c, sum, ok, f2));
}

// The last action's share is 1 - s (1 - s0 - s1), as in the plain form:
// with a zero total that gives the rest of the fallback row.
KESTRUNE_AVX512_TARGET inline void TimesReach2Step(const uint16_t* r0, const uint16_t* r1, const float* reach,
                                                   float* o0, float* o1, __m512 f0, __mmask16 mask) {
  __m512 a = LoadWidened(r0, mask), b = LoadWidened(r1, mask);
  __m512 sum = _mm512_add_ps(a, b);
  __m512 s = Quotient(a, sum, PositiveTotal(sum), f0);
  __m512 r = _mm512_maskz_loadu_ps(mask, reach);
  _mm512_mask_storeu_ps(o0, mask, _mm512_mul_ps(s, r));
  _mm512_mask_storeu_ps(o1, mask, _mm512_mul_ps(_mm512_sub_ps(_mm512_set1_ps(1.0f), s), r));
}

KESTRUNE_AVX512_TARGET inline void TimesReach3Step(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2,
                                                   const float* reach, float* o0, float* o1, float* o2, __m512 f0,
                                                   __m512 f1, __mmask16 mask) {
  __m512 a = LoadWidened(r0, mask), b = LoadWidened(r1, mask), c = LoadWidened(r2, mask);
  __m512 sum = _mm512_add_ps(_mm512_add_ps(a, b), c);
  __mmask16 ok = PositiveTotal(sum);
  __m512 s0 = Quotient(a, sum, ok, f0), s1 = Quotient(b, sum, ok, f1);
  __m512 r = _mm512_maskz_loadu_ps(mask, reach);
  _mm512_mask_storeu_ps(o0, mask, _mm512_mul_ps(s0, r));
  _mm512_mask_storeu_ps(o1, mask, _mm512_mul_ps(s1, r));
  __m512 s2 = _mm512_sub_ps(_mm512_sub_ps(_mm512_set1_ps(1.0f), s0), s1);
  _mm512_mask_storeu_ps(o2, mask, _mm512_mul_ps(s2, r));
}

constexpr __mmask16 FullMask = 0xFFFF;

}  // namespace

KESTRUNE_AVX512_TARGET void U16Match2Avx512(const uint16_t* r0, const uint16_t* r1, float* o0, float* o1, int hands,
                                            const float* fallback) {
  const __m512 f0 = _mm512_set1_ps(fallback[0]), f1 = _mm512_set1_ps(fallback[1]);
  int i = 0;
  for (; i + 16 <= hands; i += 16) Match2Step(r0 + i, r1 + i, o0 + i, o1 + i, f0, f1, FullMask);
  if (i < hands) Match2Step(r0 + i, r1 + i, o0 + i, o1 + i, f0, f1, TailMask(hands - i));
}

KESTRUNE_AVX512_TARGET void U16Match3Avx512(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2, float* o0,
                                            float* o1, float* o2, int hands, const float* fallback) {
  const __m512 f0 = _mm512_set1_ps(fallback[0]), f1 = _mm512_set1_ps(fallback[1]),
               f2 = _mm512_set1_ps(fallback[2]);
  int i = 0;
  for (; i + 16 <= hands; i += 16) Match3Step(r0 + i, r1 + i, r2 + i, o0 + i, o1 + i, o2 + i, f0, f1, f2, FullMask);
  if (i < hands)
    Match3Step(r0 + i, r1 + i, r2 + i, o0 + i, o1 + i, o2 + i, f0, f1, f2, TailMask(hands - i));
}

KESTRUNE_AVX512_TARGET void U16TimesReach2Avx512(const uint16_t* r0, const uint16_t* r1, const float* reach,
                                                 float* o0, float* o1, int hands, const float* fallback) {
  const __m512 f0 = _mm512_set1_ps(fallback[0]);
  int i = 0;
  for (; i + 16 <= hands; i += 16) TimesReach2Step(r0 + i, r1 + i, reach + i, o0 + i, o1 + i, f0, FullMask);
  if (i < hands) TimesReach2Step(r0 + i, r1 + i, reach + i, o0 + i, o1 + i, f0, TailMask(hands - i));
}

KESTRUNE_AVX512_TARGET void U16TimesReach3Avx512(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2,
                                                 const float* reach, float* o0, float* o1, float* o2, int hands,
                                                 const float* fallback) {
  const __m512 f0 = _mm512_set1_ps(fallback[0]), f1 = _mm512_set1_ps(fallback[1]);
  int i = 0;
  for (; i + 16 <= hands; i += 16)
    TimesReach3Step(r0 + i, r1 + i, r2 + i, reach + i, o0 + i, o1 + i, o2 + i, f0, f1, FullMask);
  if (i < hands)
    TimesReach3Step(r0 + i, r1 + i, r2 + i, reach + i, o0 + i, o1 + i, o2 + i, f0, f1, TailMask(hands - i));
}
