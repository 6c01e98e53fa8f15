#include "storage/kernels/u16_regret_update_avx512.h"

#include <immintrin.h>

#include "setup/avx512_forms.h"

// Each kernel is one step function, called with a full mask for the blocks
// of sixteen and once with a partial mask for the rest. Lanes outside the
// mask load zeros, so their total is zero and they divide nothing; they are
// not stored. Every operation is the one the plain form's eight-lane block
// does, in the same order: the products and sums stay separate (a fused
// multiply-add rounds once and would change bits), min and max keep their
// operand order, and the selects of the plain form become mask selects,
// which pick the same lanes. No lambdas: a lambda's body would not inherit
// the target.

namespace {

KESTRUNE_AVX512_TARGET inline __mmask16 TailMask(int rest) { return __mmask16((1u << rest) - 1); }

// Sixteen 16-bit elements widened to float (exact); zero-masked throughout,
// as the unmasked conversions pass an undefined register that GCC 12 warns
// about.
KESTRUNE_AVX512_TARGET inline __m512 LoadWidened(const uint16_t* row, __mmask16 mask) {
  __m512i widened = _mm512_maskz_cvtepu16_epi32(mask, _mm256_maskz_loadu_epi16(mask, row));
  return _mm512_maskz_cvtepi32_ps(mask, widened);
}

// The stepped values are in 0..65535, so the conversion and the truncating
// narrowing are exact.
KESTRUNE_AVX512_TARGET inline void StoreNarrowed(__m512 x, uint16_t* row, __mmask16 mask) {
  const __m512i wide = _mm512_maskz_cvttps_epi32(mask, x);
  _mm256_mask_storeu_epi16(row, mask, _mm512_maskz_cvtepi32_epi16(mask, wide));
}

// The regret step of sixteen elements; scaled power = p * sqrt(|d|) *
// sqrt(sqrt(|d|)), then min with 65536 (a NaN power gives 65536, as in the
// plain form), truncated, and applied only outside the band. The operations
// whose unmasked intrinsics pass GCC 12 an undefined register are
// zero-masked too; with the full mask the compiler drops the mask.
KESTRUNE_AVX512_TARGET inline __m512 StepVec(__m512 r, __m512 d, const U16Step& step, __mmask16 mask) {
  const __m512 root = _mm512_maskz_sqrt_ps(mask, _mm512_abs_ps(d));
  const __m512 power =
      _mm512_mul_ps(_mm512_mul_ps(_mm512_set1_ps(step.p), root), _mm512_maskz_sqrt_ps(mask, root));
  __m512 inc = _mm512_maskz_min_ps(mask, power, _mm512_set1_ps(65536.0f));
  inc = _mm512_maskz_roundscale_ps(mask, inc, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m512 up = _mm512_maskz_mov_ps(_mm512_cmp_ps_mask(d, _mm512_set1_ps(step.t), _CMP_GE_OQ), inc);
  const __m512 down = _mm512_maskz_mov_ps(_mm512_cmp_ps_mask(d, _mm512_set1_ps(-step.t), _CMP_LE_OQ), inc);
  __m512 x = _mm512_add_ps(r, up);
  x = _mm512_maskz_min_ps(mask, x, _mm512_set1_ps(65535.0f));
  x = _mm512_sub_ps(x, down);
  return _mm512_maskz_max_ps(mask, x, _mm512_setzero_ps());
}

// Steps sixteen elements of a row and stores those that move: an element
// whose difference lies inside the band keeps its value, so a block with
// none outside it skips its roots, and the rest store only what changes.
KESTRUNE_AVX512_TARGET inline void StepRow(__m512 r, __m512 d, uint16_t* row, const U16Step& step, __mmask16 mask) {
  const __mmask16 moves = _mm512_mask_cmp_ps_mask(mask, _mm512_abs_ps(d), _mm512_set1_ps(step.t), _CMP_GE_OQ);
  if (moves) StoreNarrowed(StepVec(r, d, step, mask), row, moves);
}

KESTRUNE_AVX512_TARGET inline __mmask16 PositiveTotal(__m512 sum) {
  return _mm512_cmp_ps_mask(sum, _mm512_setzero_ps(), _CMP_GT_OQ);
}

// One division: the three quotients by n are products with its inverse,
// taken where n is positive; elsewhere the masked products keep the
// fallback terms.
KESTRUNE_AVX512_TARGET inline void Fused2Step(uint16_t* r0, uint16_t* r1, const float* x0, const float* x1,
                                              float* out, __m512 u0, __m512 u1, const U16Step& step,
                                              __mmask16 mask) {
  const __m512 a = LoadWidened(r0, mask), b = LoadWidened(r1, mask);
  const __m512 v0 = _mm512_maskz_loadu_ps(mask, x0), v1 = _mm512_maskz_loadu_ps(mask, x1);
  const __m512 n = _mm512_add_ps(a, b);
  const __mmask16 ok = PositiveTotal(n);
  const __m512 gap = _mm512_sub_ps(v0, v1);
  const __m512 inv = _mm512_maskz_div_ps(ok, _mm512_set1_ps(1.0f), n);
  const __m512 signBit = _mm512_set1_ps(-0.0f);
  const __m512 uniform = _mm512_add_ps(_mm512_mul_ps(v0, u0), _mm512_mul_ps(v1, u1));
  const __m512 ev =
      _mm512_mask_mul_ps(uniform, ok, _mm512_add_ps(_mm512_mul_ps(v0, a), _mm512_mul_ps(v1, b)), inv);
  const __m512 d0 = _mm512_mask_mul_ps(_mm512_mul_ps(u1, gap), ok, _mm512_mul_ps(gap, b), inv);
  const __m512 d1 = _mm512_mask_mul_ps(_mm512_mul_ps(_mm512_xor_ps(u0, signBit), gap), ok,
                                       _mm512_mul_ps(_mm512_xor_ps(gap, signBit), a), inv);
  _mm512_mask_storeu_ps(out, mask, ev);
  StepRow(a, d0, r0, step, mask);
  StepRow(b, d1, r1, step, mask);
}

KESTRUNE_AVX512_TARGET inline void Fused3Step(uint16_t* r0, uint16_t* r1, uint16_t* r2, const float* x0,
                                              const float* x1, const float* x2, float* out, __m512 u0, __m512 u1,
                                              __m512 u2, const U16Step& step, __mmask16 mask) {
  const __m512 a = LoadWidened(r0, mask), b = LoadWidened(r1, mask), c = LoadWidened(r2, mask);
  const __m512 v0 = _mm512_maskz_loadu_ps(mask, x0), v1 = _mm512_maskz_loadu_ps(mask, x1),
               v2 = _mm512_maskz_loadu_ps(mask, x2);
  const __m512 n = _mm512_add_ps(_mm512_add_ps(a, b), c);
  const __m512 mixed =
      _mm512_add_ps(_mm512_add_ps(_mm512_mul_ps(v0, a), _mm512_mul_ps(v1, b)), _mm512_mul_ps(v2, c));
  const __m512 uniform =
      _mm512_add_ps(_mm512_add_ps(_mm512_mul_ps(v0, u0), _mm512_mul_ps(v1, u1)), _mm512_mul_ps(v2, u2));
  const __m512 ev = _mm512_mask_div_ps(uniform, PositiveTotal(n), mixed, n);
  _mm512_mask_storeu_ps(out, mask, ev);
  StepRow(a, _mm512_sub_ps(v0, ev), r0, step, mask);
  StepRow(b, _mm512_sub_ps(v1, ev), r1, step, mask);
  StepRow(c, _mm512_sub_ps(v2, ev), r2, step, mask);
}

constexpr __mmask16 FullMask = 0xFFFF;

}  // namespace

KESTRUNE_AVX512_TARGET void U16Fused2Avx512(uint16_t* __restrict r0, uint16_t* __restrict r1,
                                            const float* __restrict x0, const float* __restrict x1,
                                            float* __restrict out, int hands, U16Step step, const float* fallback) {
  const __m512 u0 = _mm512_set1_ps(fallback[0]), u1 = _mm512_set1_ps(fallback[1]);
  int i = 0;
  for (; i + 16 <= hands; i += 16) Fused2Step(r0 + i, r1 + i, x0 + i, x1 + i, out + i, u0, u1, step, FullMask);
  if (i < hands) Fused2Step(r0 + i, r1 + i, x0 + i, x1 + i, out + i, u0, u1, step, TailMask(hands - i));
}

KESTRUNE_AVX512_TARGET void U16Fused3Avx512(uint16_t* __restrict r0, uint16_t* __restrict r1,
                                            uint16_t* __restrict r2, const float* __restrict x0,
                                            const float* __restrict x1, const float* __restrict x2,
                                            float* __restrict out, int hands, U16Step step, const float* fallback) {
  const __m512 u0 = _mm512_set1_ps(fallback[0]), u1 = _mm512_set1_ps(fallback[1]),
               u2 = _mm512_set1_ps(fallback[2]);
  int i = 0;
  for (; i + 16 <= hands; i += 16)
    Fused3Step(r0 + i, r1 + i, r2 + i, x0 + i, x1 + i, x2 + i, out + i, u0, u1, u2, step, FullMask);
  if (i < hands)
    Fused3Step(r0 + i, r1 + i, r2 + i, x0 + i, x1 + i, x2 + i, out + i, u0, u1, u2, step, TailMask(hands - i));
}
