#include "storage/kernels/regret_matching.h"

#include "storage/kernels/lanes.h"

using lanes::ForLanes;
using lanes::MinNormal;

// Written as selects between values that are computed anyway: an if/else
// here would leave GCC a branch per hand and no vector loop.
static inline float Matched(float r, float sum, bool ok, float fallback) {
  float q = r / sum;
  q = q < 1.0f ? q : 1.0f;
  return ok ? q : fallback;
}

void RegretMatch2(const float* __restrict r0, const float* __restrict r1, float* __restrict o0,
                  float* __restrict o1, int hands, const float* fallback) {
  const float f0 = fallback[0], f1 = fallback[1];
  ForLanes(hands, [&](int i) {
    float sum = r0[i] + r1[i];
    bool ok = sum >= MinNormal;
    o0[i] = Matched(r0[i], sum, ok, f0);
    o1[i] = Matched(r1[i], sum, ok, f1);
  });
}

void RegretMatch3(const float* __restrict r0, const float* __restrict r1, const float* __restrict r2,
                  float* __restrict o0, float* __restrict o1, float* __restrict o2, int hands,
                  const float* fallback) {
  const float f0 = fallback[0], f1 = fallback[1], f2 = fallback[2];
  ForLanes(hands, [&](int i) {
    float sum = r0[i] + r1[i] + r2[i];
    bool ok = sum >= MinNormal;
    o0[i] = Matched(r0[i], sum, ok, f0);
    o1[i] = Matched(r1[i], sum, ok, f1);
    o2[i] = Matched(r2[i], sum, ok, f2);
  });
}

namespace {

// Row loops of the n-action form. Own functions, kept out of line: inlined
// into the loop over actions they lose the knowledge that the rows don't
// overlap, and GCC may not check for overlap at -O2, so no vector loop.
[[gnu::noinline]] void CopyRow(const float* __restrict row, float* __restrict sum, int hands) {
  ForLanes(hands, [&](int i) { sum[i] = row[i]; });
}
[[gnu::noinline]] void AddRow(const float* __restrict row, float* __restrict sum, int hands) {
  ForLanes(hands, [&](int i) { sum[i] += row[i]; });
}
[[gnu::noinline]] void DivideRow(const float* __restrict row, const float* __restrict sum, float* __restrict out, int hands,
               float fallback) {
  ForLanes(hands, [&](int i) { out[i] = Matched(row[i], sum[i], sum[i] >= MinNormal, fallback); });
}
[[gnu::noinline]] void DivideRowInPlace(const float* __restrict row, float* __restrict sum, int hands, float fallback) {
  ForLanes(hands, [&](int i) { sum[i] = Matched(row[i], sum[i], sum[i] >= MinNormal, fallback); });
}

}  // namespace

// The totals go through out[0], which action 0 overwrites last; rows and
// out rows never overlap.
void RegretMatchN(const float* const* rows, float* const* out, int actions, int hands, const float* fallback) {
  CopyRow(rows[0], out[0], hands);
  for (int a = 1; a < actions; ++a) AddRow(rows[a], out[0], hands);
  for (int a = actions - 1; a >= 1; --a) DivideRow(rows[a], out[0], out[a], hands, fallback[a]);
  DivideRowInPlace(rows[0], out[0], hands, fallback[0]);
}
