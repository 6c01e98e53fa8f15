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

namespace {

// The strategy of eight hands from their regrets, as RegretMatch2/3 make it.
template <int N>
inline void MatchBlock(const __m256 (&r)[N], const float* fallback, __m256 (&sigma)[N]) {
  __m256 sum = r[0];
  for (int a = 1; a < N; ++a) sum = _mm256_add_ps(sum, r[a]);
  const __m256 ok = _mm256_cmp_ps(sum, _mm256_set1_ps(MinNormal), _CMP_GE_OQ);
  for (int a = 0; a < N; ++a) {
    const __m256 q = _mm256_min_ps(_mm256_div_ps(r[a], sum), _mm256_set1_ps(1.0f));
    sigma[a] = Blend(_mm256_set1_ps(fallback[a]), q, ok);
  }
}

// The same for one hand, in scalar form.
template <int N>
inline void MatchOne(const float* const* rows, int i, const float* fallback, float (&r)[N], float (&sigma)[N]) {
  float sum = 0.0f;
  for (int a = 0; a < N; ++a) {
    r[a] = rows[a][i];
    sum = a == 0 ? r[0] : sum + r[a];
  }
  const bool ok = sum >= MinNormal;
  for (int a = 0; a < N; ++a) {
    float q = r[a] / sum;
    q = q < 1.0f ? q : 1.0f;
    sigma[a] = ok ? q : fallback[a];
  }
}

// The step of eight regrets by d, as Stepped above.
inline __m256 StepBlock(__m256 r, __m256 d) {
  const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF));
  const __m256 root = _mm256_sqrt_ps(_mm256_and_ps(d, absMask));
  const __m256 power = _mm256_mul_ps(root, _mm256_sqrt_ps(root));
  const __m256 negative = _mm256_cmp_ps(d, _mm256_setzero_ps(), _CMP_LT_OQ);
  const __m256 delta = Blend(power, _mm256_xor_ps(power, _mm256_set1_ps(-0.0f)), negative);
  const __m256 x = _mm256_add_ps(r, delta);
  return _mm256_andnot_ps(_mm256_cmp_ps(x, _mm256_set1_ps(MinNormal), _CMP_LT_OQ), x);
}

template <int N>
void Fused(float* const* rows, const float* const* values, float* __restrict out, int hands, const float* fallback) {
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    __m256 r[N], sigma[N];
    for (int a = 0; a < N; ++a) r[a] = _mm256_loadu_ps(rows[a] + i);
    MatchBlock<N>(r, fallback, sigma);
    __m256 ev = _mm256_mul_ps(sigma[0], _mm256_loadu_ps(values[0] + i));
    for (int a = 1; a < N; ++a) ev = _mm256_add_ps(ev, _mm256_mul_ps(sigma[a], _mm256_loadu_ps(values[a] + i)));
    _mm256_storeu_ps(out + i, ev);
    for (int a = 0; a < N; ++a) _mm256_storeu_ps(rows[a] + i, StepBlock(r[a], _mm256_sub_ps(_mm256_loadu_ps(values[a] + i), ev)));
  }
  for (; i < hands; ++i) {
    float r[N], sigma[N];
    MatchOne<N>(rows, i, fallback, r, sigma);
    float ev = 0.0f;
    for (int a = 0; a < N; ++a) ev = a == 0 ? sigma[0] * values[0][i] : ev + sigma[a] * values[a][i];
    out[i] = ev;
    for (int a = 0; a < N; ++a) {
      const float d = values[a][i] - ev;
      rows[a][i] = Stepped(r[a], d, Pow075(std::fabs(d)), false);
    }
  }
}

template <int N>
void TimesReach(const float* const* rows, const float* __restrict reach, float* const* out, int hands,
                const float* fallback, bool* positive) {
  __m256 above[N];
  for (int a = 0; a < N; ++a) above[a] = _mm256_setzero_ps();
  int i = 0;
  for (; i + Width <= hands; i += Width) {
    __m256 r[N], sigma[N];
    for (int a = 0; a < N; ++a) r[a] = _mm256_loadu_ps(rows[a] + i);
    MatchBlock<N>(r, fallback, sigma);
    const __m256 x = _mm256_loadu_ps(reach + i);
    for (int a = 0; a < N; ++a) {
      const __m256 product = _mm256_mul_ps(sigma[a], x);
      _mm256_storeu_ps(out[a] + i, product);
      above[a] = _mm256_or_ps(above[a], _mm256_cmp_ps(product, _mm256_setzero_ps(), _CMP_GT_OQ));
    }
  }
  for (int a = 0; a < N; ++a) positive[a] = _mm256_movemask_ps(above[a]) != 0;
  for (; i < hands; ++i) {
    float r[N], sigma[N];
    MatchOne<N>(rows, i, fallback, r, sigma);
    for (int a = 0; a < N; ++a) {
      out[a][i] = sigma[a] * reach[i];
      positive[a] = positive[a] || out[a][i] > 0.0f;
    }
  }
}

}  // namespace

void FloatTimesReach(const float* const* rows, const float* reach, float* const* out, int actions, int hands,
                     const float* fallback, bool* positive) {
  if (actions == 2)
    TimesReach<2>(rows, reach, out, hands, fallback, positive);
  else
    TimesReach<3>(rows, reach, out, hands, fallback, positive);
}

void FloatFused(float* const* rows, const float* const* values, float* out, int actions, int hands,
                const float* fallback) {
  if (actions == 2)
    Fused<2>(rows, values, out, hands, fallback);
  else
    Fused<3>(rows, values, out, hands, fallback);
}

void FloatAccumulate(float* __restrict row, const float* __restrict value, float weight,
                     const uint8_t* __restrict mask, int hands) {
  if (mask)
    ForLanes(hands, [&](int i) { row[i] = Select(mask[i] != 0, row[i], row[i] + weight * value[i]); });
  else
    ForLanes(hands, [&](int i) { row[i] += weight * value[i]; });
}
