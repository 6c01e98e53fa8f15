#include "storage/kernels/u16_regret_update.h"

#include <algorithm>

#include "setup/avx512_forms.h"
#include "storage/kernels/lanes.h"
#include "storage/kernels/u16_regret_update_avx512.h"

using namespace lanes;

U16Step U16Step::ForWeight(float w) {
  U16Step step;
  step.p = Pow075(w);
  step.t = 1.0f / w;
  return step;
}

namespace {

// New element from the old one, the difference d and p * |d|^0.75. All
// selects work on the bits: with if/else, or even ?: on floats, GCC moves
// the additions into branches and gives up on the vector loop.
inline float Stepped(float r, float d, float scaledPower, const U16Step& step) {
  float inc = Select(scaledPower < 65536.0f, scaledPower, 65536.0f);
  inc = float(int32_t(inc));  // trunc of a value in 0..65536
  float up = Select(d >= step.t, inc, 0.0f);
  float down = Select(d <= -step.t, inc, 0.0f);
  float x = r + up;
  x = Select(x < 65535.0f, x, 65535.0f);
  x = x - down;
  return Select(x > 0.0f, x, 0.0f);
}

// The block forms below are written with AVX intrinsics: left to GCC, the
// mix of 16-bit rows and float work came out as 128-bit code with spills.
// Each computes exactly what the scalar form does, operation for
// operation, so block and tail agree bit for bit.
// Values are in 0..65535 here, so the signed conversion and the unsigned
// pack are exact.
inline void NarrowBlock(__m256 x, uint16_t* row) {
  const __m256i v = _mm256_cvttps_epi32(x);
  const __m128i packed = _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extractf128_si256(v, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(row), packed);
}

// Stepped on eight elements; scaled power = p * sqrt(|d|) * sqrt(sqrt(|d|)).
inline __m256 StepVec(__m256 r, __m256 d, const U16Step& step) {
  const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF));
  const __m256 root = _mm256_sqrt_ps(_mm256_and_ps(d, absMask));
  const __m256 power = _mm256_mul_ps(_mm256_mul_ps(_mm256_set1_ps(step.p), root), _mm256_sqrt_ps(root));
  // min/max take the second operand for a NaN, as the selects do.
  __m256 inc = _mm256_min_ps(power, _mm256_set1_ps(65536.0f));
  inc = _mm256_round_ps(inc, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m256 t = _mm256_set1_ps(step.t);
  const __m256 up = _mm256_and_ps(_mm256_cmp_ps(d, t, _CMP_GE_OQ), inc);
  const __m256 down = _mm256_and_ps(_mm256_cmp_ps(d, _mm256_set1_ps(-step.t), _CMP_LE_OQ), inc);
  __m256 x = _mm256_add_ps(r, up);
  x = _mm256_min_ps(x, _mm256_set1_ps(65535.0f));
  x = _mm256_sub_ps(x, down);
  return _mm256_max_ps(x, _mm256_setzero_ps());
}

// Whether any of eight differences lies outside the band. A block whose
// differences all lie inside it keeps its elements as they are (they are
// already within 0..65535), so its roots need not be taken.
inline bool Moves(__m256 d, const U16Step& step) {
  const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF));
  return _mm256_movemask_ps(_mm256_cmp_ps(_mm256_and_ps(d, absMask), _mm256_set1_ps(step.t), _CMP_GE_OQ)) != 0;
}

inline float StepOne(float r, float d, const U16Step& step) {
  return Stepped(r, d, Pow075(std::fabs(d), step.p), step);
}

template <bool HasValue, bool HasBaseline, bool HasMask>
void Update(uint16_t* __restrict row, const float* __restrict value, const float* __restrict baseline,
            const uint8_t* __restrict mask, int hands, U16Step step) {
  auto difference = [&](int i) {
    float v = HasValue ? value[i] : 0.0f;
    float b = HasBaseline ? baseline[i] : 0.0f;
    float d = v - b;
    // A locked hand sees no difference, and no difference moves nothing.
    return HasMask ? Select(mask[i] != 0, 0.0f, d) : d;
  };
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    alignas(32) float d[Width];
    for (int k = 0; k < Width; ++k) d[k] = difference(i + k);
    const __m256 dv = _mm256_load_ps(d);
    if (Moves(dv, step)) NarrowBlock(StepVec(WidenU16(row + i), dv, step), row + i);
  }
  for (; i < hands; ++i) row[i] = uint16_t(int32_t(StepOne(row[i], difference(i), step)));
}

template <bool HasValue, bool HasBaseline>
void UpdateMasked(uint16_t* row, const float* value, const float* baseline, const uint8_t* mask, int hands,
                  U16Step step) {
  if (mask)
    Update<HasValue, HasBaseline, true>(row, value, baseline, mask, hands, step);
  else
    Update<HasValue, HasBaseline, false>(row, value, baseline, mask, hands, step);
}

// Per hand of a two-action node: value and the two differences.
struct Fused2Hand {
  float ev, d0, d1;
};
// One division: the three quotients by n are products with its inverse.
inline Fused2Hand Fused2At(float r0, float r1, float x0, float x1, float u0, float u1) {
  float n = r0 + r1;
  bool ok = n > 0.0f;
  float inv = 1.0f / n;
  float gap = x0 - x1;
  float ev = Select(ok, (x0 * r0 + x1 * r1) * inv, x0 * u0 + x1 * u1);
  float d0 = Select(ok, gap * r1 * inv, u1 * gap);
  float d1 = Select(ok, -gap * r0 * inv, -u0 * gap);
  return {ev, d0, d1};
}

struct Fused3Hand {
  float ev, d0, d1, d2;
};
inline Fused3Hand Fused3At(float r0, float r1, float r2, float x0, float x1, float x2, const float* u) {
  float n = r0 + r1 + r2;
  float ev = Select(n > 0.0f, (x0 * r0 + x1 * r1 + x2 * r2) / n, x0 * u[0] + x1 * u[1] + x2 * u[2]);
  return {ev, x0 - ev, x1 - ev, x2 - ev};
}

}  // namespace

void U16RegretUpdate(uint16_t* row, const float* value, const float* baseline, const uint8_t* mask, int hands,
                     U16Step step) {
  if (value && baseline)
    UpdateMasked<true, true>(row, value, baseline, mask, hands, step);
  else if (value)
    UpdateMasked<true, false>(row, value, baseline, mask, hands, step);
  else if (baseline)
    UpdateMasked<false, true>(row, value, baseline, mask, hands, step);
}

void AverageTies(uint16_t* row, int hands, const uint16_t* runs, size_t runCount) {
  int start = 0;
  for (size_t k = 0; k < runCount && start < hands; ++k) {
    int n = std::min<int>(runs[k], hands - start);
    if (n <= 0) continue;
    // A hand tied with none is its own mean.
    if (n == 1) {
      ++start;
      continue;
    }
    if (n == 2) {
      const uint16_t mean = uint16_t((uint32_t(row[start]) + row[start + 1]) >> 1);
      row[start] = row[start + 1] = mean;
      start += 2;
      continue;
    }
    uint32_t total = 0;
    for (int i = 0; i < n; ++i) total += row[start + i];
    uint16_t mean = uint16_t(total / uint32_t(n));
    for (int i = 0; i < n; ++i) row[start + i] = mean;
    start += n;
  }
}

void U16Fused2Plain(uint16_t* __restrict r0, uint16_t* __restrict r1, const float* __restrict x0,
                    const float* __restrict x1, float* __restrict out, int hands, U16Step step,
                    const float* fallback) {
  const float u0 = fallback[0], u1 = fallback[1];
  const __m256 vu0 = _mm256_set1_ps(u0), vu1 = _mm256_set1_ps(u1);
  const __m256 zero = _mm256_setzero_ps();
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    const __m256 a = WidenU16(r0 + i), b = WidenU16(r1 + i);
    const __m256 v0 = _mm256_loadu_ps(x0 + i), v1 = _mm256_loadu_ps(x1 + i);
    // Fused2At on eight hands; the quotients of an empty row are blended
    // away, as the selects do.
    const __m256 n = _mm256_add_ps(a, b);
    const __m256 ok = _mm256_cmp_ps(n, zero, _CMP_GT_OQ);
    const __m256 gap = _mm256_sub_ps(v0, v1);
    const __m256 inv = _mm256_div_ps(_mm256_set1_ps(1.0f), n);
    const __m256 ev = lanes::Blend(_mm256_add_ps(_mm256_mul_ps(v0, vu0), _mm256_mul_ps(v1, vu1)),
                                       _mm256_mul_ps(_mm256_add_ps(_mm256_mul_ps(v0, a), _mm256_mul_ps(v1, b)), inv), ok);
    const __m256 signBit = _mm256_set1_ps(-0.0f);
    const __m256 negGap = _mm256_xor_ps(gap, signBit);
    const __m256 d0 = lanes::Blend(_mm256_mul_ps(vu1, gap), _mm256_mul_ps(_mm256_mul_ps(gap, b), inv), ok);
    const __m256 d1 = lanes::Blend(_mm256_mul_ps(_mm256_xor_ps(vu0, signBit), gap),
                                       _mm256_mul_ps(_mm256_mul_ps(negGap, a), inv), ok);
    _mm256_storeu_ps(out + i, ev);
    if (Moves(d0, step)) NarrowBlock(StepVec(a, d0, step), r0 + i);
    if (Moves(d1, step)) NarrowBlock(StepVec(b, d1, step), r1 + i);
  }
  for (; i < hands; ++i) {
    float a = r0[i], b = r1[i];
    Fused2Hand h = Fused2At(a, b, x0[i], x1[i], u0, u1);
    out[i] = h.ev;
    r0[i] = uint16_t(int32_t(StepOne(a, h.d0, step)));
    r1[i] = uint16_t(int32_t(StepOne(b, h.d1, step)));
  }
}

void U16Fused3Plain(uint16_t* __restrict r0, uint16_t* __restrict r1, uint16_t* __restrict r2,
                    const float* __restrict x0, const float* __restrict x1, const float* __restrict x2,
                    float* __restrict out, int hands, U16Step step, const float* fallback) {
  const __m256 u0 = _mm256_set1_ps(fallback[0]), u1 = _mm256_set1_ps(fallback[1]), u2 = _mm256_set1_ps(fallback[2]);
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    const __m256 a = WidenU16(r0 + i), b = WidenU16(r1 + i), c = WidenU16(r2 + i);
    const __m256 v0 = _mm256_loadu_ps(x0 + i), v1 = _mm256_loadu_ps(x1 + i), v2 = _mm256_loadu_ps(x2 + i);
    const __m256 n = _mm256_add_ps(_mm256_add_ps(a, b), c);
    const __m256 ok = _mm256_cmp_ps(n, _mm256_setzero_ps(), _CMP_GT_OQ);
    const __m256 mixed = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(v0, a), _mm256_mul_ps(v1, b)), _mm256_mul_ps(v2, c));
    const __m256 uniform =
        _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(v0, u0), _mm256_mul_ps(v1, u1)), _mm256_mul_ps(v2, u2));
    const __m256 ev = lanes::Blend(uniform, _mm256_div_ps(mixed, n), ok);
    _mm256_storeu_ps(out + i, ev);
    const __m256 d0 = _mm256_sub_ps(v0, ev), d1 = _mm256_sub_ps(v1, ev), d2 = _mm256_sub_ps(v2, ev);
    if (Moves(d0, step)) NarrowBlock(StepVec(a, d0, step), r0 + i);
    if (Moves(d1, step)) NarrowBlock(StepVec(b, d1, step), r1 + i);
    if (Moves(d2, step)) NarrowBlock(StepVec(c, d2, step), r2 + i);
  }
  for (; i < hands; ++i) {
    float a = r0[i], b = r1[i], c = r2[i];
    Fused3Hand h = Fused3At(a, b, c, x0[i], x1[i], x2[i], fallback);
    out[i] = h.ev;
    r0[i] = uint16_t(int32_t(StepOne(a, h.d0, step)));
    r1[i] = uint16_t(int32_t(StepOne(b, h.d1, step)));
    r2[i] = uint16_t(int32_t(StepOne(c, h.d2, step)));
  }
}

void U16Fused2(uint16_t* r0, uint16_t* r1, const float* x0, const float* x1, float* out, int hands, U16Step step,
               const float* fallback) {
  if (UseAvx512()) return U16Fused2Avx512(r0, r1, x0, x1, out, hands, step, fallback);
  U16Fused2Plain(r0, r1, x0, x1, out, hands, step, fallback);
}

void U16Fused3(uint16_t* r0, uint16_t* r1, uint16_t* r2, const float* x0, const float* x1, const float* x2,
               float* out, int hands, U16Step step, const float* fallback) {
  if (UseAvx512()) return U16Fused3Avx512(r0, r1, r2, x0, x1, x2, out, hands, step, fallback);
  U16Fused3Plain(r0, r1, r2, x0, x1, x2, out, hands, step, fallback);
}

void U16Scale(uint16_t* __restrict row, int hands, float factor) {
  int shift = factor == 2.0f ? 1 : factor == 4.0f ? 2 : factor == 8.0f ? 3 : 0;
  if (shift) {
    ForLanes(hands, [&](int i) {
      uint32_t x = uint32_t(row[i]) << shift;
      row[i] = uint16_t(x < 65535u ? x : 65535u);
    });
    return;
  }
  ForLanes(hands, [&](int i) {
    float x = float(row[i]) * factor;
    x = Select(x < 65535.0f, x, 65535.0f);
    x = Select(x > 0.0f, x, 0.0f);
    row[i] = uint16_t(int32_t(x));
  });
}

uint16_t U16Max(const uint16_t* __restrict row, int hands) {
  uint16_t m = 0;
  ForLanes(hands, [&](int i) { m = row[i] > m ? row[i] : m; });
  return m;
}
