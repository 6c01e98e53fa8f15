#include "storage/kernels/float_regret_update.h"

#include "storage/kernels/lanes.h"

using namespace lanes;

namespace {

template <bool HasValue, bool HasBaseline>
inline float Difference(const float* value, const float* baseline, int i) {
  float v = HasValue ? value[i] : 0.0f;
  float b = HasBaseline ? baseline[i] : 0.0f;
  return v - b;
}

// Regret after the step, from the difference and its power |d|^0.75.
inline float Stepped(float r, float d, float power, bool locked) {
  float delta = Select(d < 0.0f, -power, power);
  float x = r + delta;
  x = Select(x < MinNormal, 0.0f, x);
  return Select(locked, r, x);
}

template <bool HasValue, bool HasBaseline, bool HasMask>
void Update(float* __restrict row, const float* __restrict value, const float* __restrict baseline,
            const uint8_t* __restrict mask, int hands) {
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    float d[Width], e[Width];
    for (int k = 0; k < Width; ++k) {
      d[k] = Difference<HasValue, HasBaseline>(value, baseline, i + k);
      e[k] = std::fabs(d[k]);
    }
    Pow075Lanes(e);
    for (int k = 0; k < Width; ++k) row[i + k] = Stepped(row[i + k], d[k], e[k], HasMask && mask[i + k] != 0);
  }
  for (; i < hands; ++i) {
    float d = Difference<HasValue, HasBaseline>(value, baseline, i);
    row[i] = Stepped(row[i], d, Pow075(std::fabs(d)), HasMask && mask[i] != 0);
  }
}

template <bool HasValue, bool HasBaseline>
void UpdateMasked(float* row, const float* value, const float* baseline, const uint8_t* mask, int hands) {
  if (mask)
    Update<HasValue, HasBaseline, true>(row, value, baseline, mask, hands);
  else
    Update<HasValue, HasBaseline, false>(row, value, baseline, mask, hands);
}

}  // namespace

void FloatRegretUpdate(float* row, const float* value, const float* baseline, const uint8_t* mask, int hands) {
  if (value && baseline)
    UpdateMasked<true, true>(row, value, baseline, mask, hands);
  else if (value)
    UpdateMasked<true, false>(row, value, baseline, mask, hands);
  else if (baseline)
    UpdateMasked<false, true>(row, value, baseline, mask, hands);
  // Both null: every difference is zero and the step changes nothing.
}

void FloatAccumulate(float* __restrict row, const float* __restrict value, float weight,
                     const uint8_t* __restrict mask, int hands) {
  if (mask)
    ForLanes(hands, [&](int i) { row[i] = Select(mask[i] != 0, row[i], row[i] + weight * value[i]); });
  else
    ForLanes(hands, [&](int i) { row[i] += weight * value[i]; });
}
