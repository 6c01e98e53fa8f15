#include "storage/kernels/u16_regret_update.h"

#include <algorithm>

#include "storage/kernels/lanes.h"

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

// Steps one block of elements: r holds them widened, d the differences.
inline void StepBlock(float (&r)[Width], const float (&d)[Width], const U16Step& step) {
  float e[Width];
  for (int k = 0; k < Width; ++k) e[k] = std::fabs(d[k]);
  Pow075Lanes(e, step.p);
  for (int k = 0; k < Width; ++k) r[k] = Stepped(r[k], d[k], e[k], step);
}

inline float StepOne(float r, float d, const U16Step& step) {
  return Stepped(r, d, Pow075(std::fabs(d), step.p), step);
}

// Widening and narrowing stay loops of their own: mixed with the float work
// GCC finds no common vector shape for them under AVX.
inline void Widen(const uint16_t* __restrict row, float (&r)[Width]) {
  for (int k = 0; k < Width; ++k) r[k] = row[k];
}
inline void Narrow(const float (&r)[Width], uint16_t* __restrict row) {
  for (int k = 0; k < Width; ++k) row[k] = uint16_t(int32_t(r[k]));
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
    float r[Width], d[Width];
    Widen(row + i, r);
    for (int k = 0; k < Width; ++k) d[k] = difference(i + k);
    StepBlock(r, d, step);
    Narrow(r, row + i);
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
inline Fused2Hand Fused2At(float r0, float r1, float x0, float x1, float u0, float u1) {
  float n = r0 + r1;
  bool ok = n > 0.0f;
  float gap = x0 - x1;
  float ev = Select(ok, (x0 * r0 + x1 * r1) / n, x0 * u0 + x1 * u1);
  float d0 = Select(ok, gap * r1 / n, u1 * gap);
  float d1 = Select(ok, -gap * r0 / n, -u0 * gap);
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
    uint32_t total = 0;
    for (int i = 0; i < n; ++i) total += row[start + i];
    uint16_t mean = uint16_t(total / uint32_t(n));
    for (int i = 0; i < n; ++i) row[start + i] = mean;
    start += n;
  }
}

void U16Fused2(uint16_t* __restrict r0, uint16_t* __restrict r1, const float* __restrict x0,
               const float* __restrict x1, float* __restrict out, int hands, U16Step step, const float* fallback) {
  const float u0 = fallback[0], u1 = fallback[1];
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    float a[Width], b[Width], d0[Width], d1[Width];
    Widen(r0 + i, a);
    Widen(r1 + i, b);
    for (int k = 0; k < Width; ++k) {
      Fused2Hand h = Fused2At(a[k], b[k], x0[i + k], x1[i + k], u0, u1);
      out[i + k] = h.ev;
      d0[k] = h.d0;
      d1[k] = h.d1;
    }
    StepBlock(a, d0, step);
    StepBlock(b, d1, step);
    Narrow(a, r0 + i);
    Narrow(b, r1 + i);
  }
  for (; i < hands; ++i) {
    float a = r0[i], b = r1[i];
    Fused2Hand h = Fused2At(a, b, x0[i], x1[i], u0, u1);
    out[i] = h.ev;
    r0[i] = uint16_t(int32_t(StepOne(a, h.d0, step)));
    r1[i] = uint16_t(int32_t(StepOne(b, h.d1, step)));
  }
}

void U16Fused3(uint16_t* __restrict r0, uint16_t* __restrict r1, uint16_t* __restrict r2,
               const float* __restrict x0, const float* __restrict x1, const float* __restrict x2,
               float* __restrict out, int hands, U16Step step, const float* fallback) {
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    float a[Width], b[Width], c[Width], d0[Width], d1[Width], d2[Width];
    Widen(r0 + i, a);
    Widen(r1 + i, b);
    Widen(r2 + i, c);
    for (int k = 0; k < Width; ++k) {
      Fused3Hand h = Fused3At(a[k], b[k], c[k], x0[i + k], x1[i + k], x2[i + k], fallback);
      out[i + k] = h.ev;
      d0[k] = h.d0;
      d1[k] = h.d1;
      d2[k] = h.d2;
    }
    StepBlock(a, d0, step);
    StepBlock(b, d1, step);
    StepBlock(c, d2, step);
    Narrow(a, r0 + i);
    Narrow(b, r1 + i);
    Narrow(c, r2 + i);
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
