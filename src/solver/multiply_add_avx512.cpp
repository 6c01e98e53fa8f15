#include "solver/multiply_add_avx512.h"

#include <immintrin.h>

#include "setup/avx512_forms.h"

// Two registers a step: the loop is bound by the loads, and a second
// independent chain hides the latency of the fused operation.
KESTRUNE_AVX512_TARGET void MultiplyAddAvx512(float* __restrict acc, const float* __restrict a,
                                              const float* __restrict b, int32_t count) {
  int32_t i = 0;
  for (; i + 32 <= count; i += 32) {
    __m512 lo = _mm512_fmadd_ps(_mm512_loadu_ps(a + i), _mm512_loadu_ps(b + i), _mm512_loadu_ps(acc + i));
    __m512 hi =
        _mm512_fmadd_ps(_mm512_loadu_ps(a + i + 16), _mm512_loadu_ps(b + i + 16), _mm512_loadu_ps(acc + i + 16));
    _mm512_storeu_ps(acc + i, lo);
    _mm512_storeu_ps(acc + i + 16, hi);
  }
  const int32_t rest = count - i;  // 0 to 31
  if (rest == 0) return;
  const __mmask16 maskLo = rest >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << rest) - 1);
  const __mmask16 maskHi = rest > 16 ? __mmask16((1u << (rest - 16)) - 1) : __mmask16(0);
  __m512 lo = _mm512_fmadd_ps(_mm512_maskz_loadu_ps(maskLo, a + i), _mm512_maskz_loadu_ps(maskLo, b + i),
                              _mm512_maskz_loadu_ps(maskLo, acc + i));
  _mm512_mask_storeu_ps(acc + i, maskLo, lo);
  if (maskHi) {
    __m512 hi = _mm512_fmadd_ps(_mm512_maskz_loadu_ps(maskHi, a + i + 16), _mm512_maskz_loadu_ps(maskHi, b + i + 16),
                                _mm512_maskz_loadu_ps(maskHi, acc + i + 16));
    _mm512_mask_storeu_ps(acc + i + 16, maskHi, hi);
  }
}
