#include "storage/kernels/u16_regret_matching.h"

#include "setup/avx512_forms.h"
#include "storage/kernels/lanes.h"
#include "storage/kernels/u16_regret_matching_avx512.h"

using lanes::ForLanes;
using lanes::Select;

// The quotients are wanted only where the total is positive; with ?: GCC
// would move the divisions into that arm and leave a branch per hand, so the
// fallback is blended in on the bits.

void U16Match2(const uint16_t* __restrict r0, const uint16_t* __restrict r1, float* __restrict o0,
               float* __restrict o1, int hands, const float* fallback) {
  if (UseAvx512()) return U16Match2Avx512(r0, r1, o0, o1, hands, fallback);
  const float f0 = fallback[0], f1 = fallback[1];
  ForLanes(hands, [&](int i) {
    float a = r0[i], b = r1[i];
    float sum = a + b;
    bool ok = sum > 0.0f;
    float q0 = a / sum, q1 = b / sum;
    o0[i] = Select(ok, q0, f0);
    o1[i] = Select(ok, q1, f1);
  });
}

void U16Match3(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const uint16_t* __restrict r2,
               float* __restrict o0, float* __restrict o1, float* __restrict o2, int hands, const float* fallback) {
  if (UseAvx512()) return U16Match3Avx512(r0, r1, r2, o0, o1, o2, hands, fallback);
  const float f0 = fallback[0], f1 = fallback[1], f2 = fallback[2];
  ForLanes(hands, [&](int i) {
    float a = r0[i], b = r1[i], c = r2[i];
    float sum = a + b + c;
    bool ok = sum > 0.0f;
    float q0 = a / sum, q1 = b / sum, q2 = c / sum;
    o0[i] = Select(ok, q0, f0);
    o1[i] = Select(ok, q1, f1);
    o2[i] = Select(ok, q2, f2);
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

}  // namespace

void U16MatchN(const uint16_t* const* rows, const float* rowFactor, float* const* out, int actions, int hands,
               const float* fallback) {
  auto factor = [&](int a) { return rowFactor ? rowFactor[a] : 1.0f; };
  WidenRow(rows[0], factor(0), out[0], hands);
  for (int a = 1; a < actions; ++a) AddRow(rows[a], factor(a), out[0], hands);
  for (int a = actions - 1; a >= 1; --a) DivideRow(rows[a], factor(a), out[0], out[a], hands, fallback[a]);
  DivideRowInPlace(rows[0], factor(0), out[0], hands, fallback[0]);
}

void U16TimesReach2(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const float* __restrict reach,
                    float* __restrict o0, float* __restrict o1, int hands, const float* fallback) {
  if (UseAvx512()) return U16TimesReach2Avx512(r0, r1, reach, o0, o1, hands, fallback);
  const float f0 = fallback[0];
  ForLanes(hands, [&](int i) {
    float a = r0[i], b = r1[i];
    float sum = a + b;
    float q = a / sum;
    float s = Select(sum > 0.0f, q, f0);
    o0[i] = s * reach[i];
    o1[i] = (1.0f - s) * reach[i];
  });
}

void U16TimesReach3(const uint16_t* __restrict r0, const uint16_t* __restrict r1, const uint16_t* __restrict r2,
                    const float* __restrict reach, float* __restrict o0, float* __restrict o1,
                    float* __restrict o2, int hands, const float* fallback) {
  if (UseAvx512()) return U16TimesReach3Avx512(r0, r1, r2, reach, o0, o1, o2, hands, fallback);
  const float f0 = fallback[0], f1 = fallback[1];
  ForLanes(hands, [&](int i) {
    float a = r0[i], b = r1[i], c = r2[i];
    float sum = a + b + c;
    bool ok = sum > 0.0f;
    float q0 = a / sum, q1 = b / sum;
    float s0 = Select(ok, q0, f0);
    float s1 = Select(ok, q1, f1);
    o0[i] = s0 * reach[i];
    o1[i] = s1 * reach[i];
    o2[i] = (1.0f - s0 - s1) * reach[i];
  });
}
