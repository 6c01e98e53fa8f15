#include "storage/kernels/u16_regret_matching.h"

#include "setup/avx512_forms.h"
#include "storage/kernels/lanes.h"
#include "storage/kernels/u16_regret_matching_avx512.h"

using lanes::ForLanes;
using lanes::Select;

// The quotients are wanted only where the total is positive; with ?: GCC
// would move the divisions into that arm and leave a branch per hand, so the
// fallback is blended in on the bits. The two- and three-action forms run
// blocks of eight hands in AVX intrinsics (GCC made 128-bit code of them)
// with the same operations as the one-hand tail, so the results agree bit
// for bit.

namespace {

using lanes::ForBlocks;
using lanes::WidenU16;

// A block's row total and where it is positive; Share is a row's part of
// it, or the fallback where there is none.
struct BlockTotal {
  __m256 sum, ok;
  explicit BlockTotal(__m256 total) : sum(total), ok(_mm256_cmp_ps(total, _mm256_setzero_ps(), _CMP_GT_OQ)) {}
  __m256 Share(__m256 row, __m256 fallback) const { return lanes::Blend(fallback, _mm256_div_ps(row, sum), ok); }
};

}  // namespace

void U16Match2(const uint16_t* __restrict r0, const uint16_t* __restrict r1, float* __restrict o0,
               float* __restrict o1, int hands, const float* fallback) {
  if (UseAvx512()) return U16Match2Avx512(r0, r1, o0, o1, hands, fallback);
  const float f0 = fallback[0], f1 = fallback[1];
  const __m256 v0 = _mm256_set1_ps(f0), v1 = _mm256_set1_ps(f1);
  ForBlocks(
      hands,
      [&](int i) {
        const __m256 a = WidenU16(r0 + i), b = WidenU16(r1 + i);
        const BlockTotal total(_mm256_add_ps(a, b));
        _mm256_storeu_ps(o0 + i, total.Share(a, v0));
        _mm256_storeu_ps(o1 + i, total.Share(b, v1));
      },
      [&](int i) {
        float a = r0[i], b = r1[i];
        float sum = a + b;
        bool ok = sum > 0.0f;
        o0[i] = Select(ok, a / sum, f0);
        o1[i] = Select(ok, b / sum, f1);
      });
}

void U16Match3(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const uint16_t* __restrict r2,
               float* __restrict o0, float* __restrict o1, float* __restrict o2, int hands, const float* fallback) {
  if (UseAvx512()) return U16Match3Avx512(r0, r1, r2, o0, o1, o2, hands, fallback);
  const float f0 = fallback[0], f1 = fallback[1], f2 = fallback[2];
  const __m256 v0 = _mm256_set1_ps(f0), v1 = _mm256_set1_ps(f1), v2 = _mm256_set1_ps(f2);
  ForBlocks(
      hands,
      [&](int i) {
        const __m256 a = WidenU16(r0 + i), b = WidenU16(r1 + i), c = WidenU16(r2 + i);
        const BlockTotal total(_mm256_add_ps(_mm256_add_ps(a, b), c));
        _mm256_storeu_ps(o0 + i, total.Share(a, v0));
        _mm256_storeu_ps(o1 + i, total.Share(b, v1));
        _mm256_storeu_ps(o2 + i, total.Share(c, v2));
      },
      [&](int i) {
        float a = r0[i], b = r1[i], c = r2[i];
        float sum = a + b + c;
        bool ok = sum > 0.0f;
        o0[i] = Select(ok, a / sum, f0);
        o1[i] = Select(ok, b / sum, f1);
        o2[i] = Select(ok, c / sum, f2);
      });
}

namespace {

// Row loops of the n-action form. Own functions, kept out of line: inlined
// into the loop over actions they lose the knowledge that the rows don't
// overlap, and GCC may not check for overlap at -O2, so no vector loop.
[[gnu::noinline]] void WidenRow(const uint16_t* __restrict row, float factor, float* __restrict sum, int hands) {
  ForLanes(hands, [&](int i) { sum[i] = float(row[i]) * factor; });
}
[[gnu::noinline]] void AddRow(const uint16_t* __restrict row, float factor, float* __restrict sum, int hands) {
  ForLanes(hands, [&](int i) { sum[i] += float(row[i]) * factor; });
}
[[gnu::noinline]] void DivideRow(const uint16_t* __restrict row, float factor, const float* __restrict sum, float* __restrict out,
               int hands, float fallback) {
  ForLanes(hands, [&](int i) {
    float s = sum[i];
    out[i] = Select(s > 0.0f, float(row[i]) * factor / s, fallback);
  });
}
// Action 0 last: its out row holds the totals until then.
[[gnu::noinline]] void DivideRowInPlace(const uint16_t* __restrict row, float factor, float* __restrict sum, int hands,
                      float fallback) {
  ForLanes(hands, [&](int i) {
    float s = sum[i];
    sum[i] = Select(s > 0.0f, float(row[i]) * factor / s, fallback);
  });
}

// Two and three actions in one pass: the same operations in the same order
// as the row loops above, which for these counts read every row twice.
void MatchScaled2(const uint16_t* __restrict r0, const uint16_t* __restrict r1, float f0, float f1,
                  float* __restrict o0, float* __restrict o1, int hands, const float* fallback) {
  const float u0 = fallback[0], u1 = fallback[1];
  ForLanes(hands, [&](int i) {
    const float s = float(r0[i]) * f0 + float(r1[i]) * f1;
    o1[i] = Select(s > 0.0f, float(r1[i]) * f1 / s, u1);
    o0[i] = Select(s > 0.0f, float(r0[i]) * f0 / s, u0);
  });
}

void MatchScaled3(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const uint16_t* __restrict r2,
                  float f0, float f1, float f2, float* __restrict o0, float* __restrict o1, float* __restrict o2,
                  int hands, const float* fallback) {
  const float u0 = fallback[0], u1 = fallback[1], u2 = fallback[2];
  ForLanes(hands, [&](int i) {
    const float s = float(r0[i]) * f0 + float(r1[i]) * f1 + float(r2[i]) * f2;
    o2[i] = Select(s > 0.0f, float(r2[i]) * f2 / s, u2);
    o1[i] = Select(s > 0.0f, float(r1[i]) * f1 / s, u1);
    o0[i] = Select(s > 0.0f, float(r0[i]) * f0 / s, u0);
  });
}

}  // namespace

void U16MatchN(const uint16_t* const* rows, const float* rowFactor, float* const* out, int actions, int hands,
               const float* fallback) {
  auto factor = [&](int a) { return rowFactor ? rowFactor[a] : 1.0f; };
  if (actions == 2)
    return MatchScaled2(rows[0], rows[1], factor(0), factor(1), out[0], out[1], hands, fallback);
  if (actions == 3)
    return MatchScaled3(rows[0], rows[1], rows[2], factor(0), factor(1), factor(2), out[0], out[1], out[2], hands,
                        fallback);
  WidenRow(rows[0], factor(0), out[0], hands);
  for (int a = 1; a < actions; ++a) AddRow(rows[a], factor(a), out[0], hands);
  for (int a = actions - 1; a >= 1; --a) DivideRow(rows[a], factor(a), out[0], out[a], hands, fallback[a]);
  DivideRowInPlace(rows[0], factor(0), out[0], hands, fallback[0]);
}

void U16TimesReach2(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const float* __restrict reach,
                    float* __restrict o0, float* __restrict o1, int hands, const float* fallback) {
  if (UseAvx512()) return U16TimesReach2Avx512(r0, r1, reach, o0, o1, hands, fallback);
  const float f0 = fallback[0];
  const __m256 v0 = _mm256_set1_ps(f0), one = _mm256_set1_ps(1.0f);
  ForBlocks(
      hands,
      [&](int i) {
        const __m256 a = WidenU16(r0 + i), b = WidenU16(r1 + i);
        const __m256 s0 = BlockTotal(_mm256_add_ps(a, b)).Share(a, v0);
        const __m256 r = _mm256_loadu_ps(reach + i);
        _mm256_storeu_ps(o0 + i, _mm256_mul_ps(s0, r));
        _mm256_storeu_ps(o1 + i, _mm256_mul_ps(_mm256_sub_ps(one, s0), r));
      },
      [&](int i) {
        float a = r0[i], b = r1[i];
        float sum = a + b;
        float s0 = Select(sum > 0.0f, a / sum, f0);
        o0[i] = s0 * reach[i];
        o1[i] = (1.0f - s0) * reach[i];
      });
}

void U16TimesReach3(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const uint16_t* __restrict r2,
                    const float* __restrict reach, float* __restrict o0, float* __restrict o1,
                    float* __restrict o2, int hands, const float* fallback) {
  if (UseAvx512()) return U16TimesReach3Avx512(r0, r1, r2, reach, o0, o1, o2, hands, fallback);
  const float f0 = fallback[0], f1 = fallback[1];
  const __m256 v0 = _mm256_set1_ps(f0), v1 = _mm256_set1_ps(f1), one = _mm256_set1_ps(1.0f);
  ForBlocks(
      hands,
      [&](int i) {
        const __m256 a = WidenU16(r0 + i), b = WidenU16(r1 + i), c = WidenU16(r2 + i);
        const BlockTotal total(_mm256_add_ps(_mm256_add_ps(a, b), c));
        const __m256 s0 = total.Share(a, v0);
        const __m256 s1 = total.Share(b, v1);
        const __m256 r = _mm256_loadu_ps(reach + i);
        _mm256_storeu_ps(o0 + i, _mm256_mul_ps(s0, r));
        _mm256_storeu_ps(o1 + i, _mm256_mul_ps(s1, r));
        _mm256_storeu_ps(o2 + i, _mm256_mul_ps(_mm256_sub_ps(_mm256_sub_ps(one, s0), s1), r));
      },
      [&](int i) {
        float a = r0[i], b = r1[i], c = r2[i];
        float sum = a + b + c;
        bool ok = sum > 0.0f;
        float s0 = Select(ok, a / sum, f0);
        float s1 = Select(ok, b / sum, f1);
        o0[i] = s0 * reach[i];
        o1[i] = s1 * reach[i];
        o2[i] = (1.0f - s0 - s1) * reach[i];
      });
}
