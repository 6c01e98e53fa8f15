// Per-hand array operations of the traversal, on FloatVecs.
//
// Every operation treats a null vector as zeros and keeps a result null
// where it can, so a pruned subtree allocates nothing. Results come from the
// thread's current pool. The loops run in blocks of eight (ForLanes) so that
// GCC vectorises them at -O2; the chance gather and scatter are the only
// indirect accesses.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "setup/avx512_forms.h"
#include "storage/float_vec.h"
#include "solver/multiply_add_avx512.h"
#include "storage/kernels/lanes.h"
#include "tree/board_tree.h"

namespace vecops {

// The element loops below are written with AVX intrinsics: inlined into
// the large traversal functions, GCC at -O2 leaves plain loops scalar.
using lanes::ForBlocks;

// A pooled vector of `count` hands, contents undefined.
inline void Resize(FloatVec& v, int32_t count) { ResizeVector(v, count, true); }

// A null vector of `count` hands: all zeros, no memory.
inline void SetNull(FloatVec& v, int32_t count) {
  ReleaseVector(v);
  v.count = count;
}

inline void Zero(FloatVec& v, int32_t count) {
  Resize(v, count);
  std::memset(v.data, 0, size_t(count) * sizeof(float));
}

inline void Copy(FloatVec& out, const FloatVec& in) {
  if (!in.data) {
    SetNull(out, in.count);
    return;
  }
  Resize(out, in.count);
  std::memcpy(out.data, in.data, size_t(in.count) * sizeof(float));
}

// A copy from the general allocator, for arrays that outlive the pass.
inline void CopyUnpooled(FloatVec& out, const FloatVec& in) {
  if (!in.data) {
    SetNull(out, in.count);
    return;
  }
  ResizeVector(out, in.count, false);
  std::memcpy(out.data, in.data, size_t(in.count) * sizeof(float));
}

inline bool AnyPositive(const float* __restrict v, int32_t n) {
  int32_t i = 0;
  for (; i + 8 <= n; i += 8)
    if (_mm256_movemask_ps(_mm256_cmp_ps(_mm256_loadu_ps(v + i), _mm256_setzero_ps(), _CMP_GT_OQ))) return true;
  for (; i < n; ++i)
    if (v[i] > 0.0f) return true;
  return false;
}

// The first index with v[i] < 0, or -1; eight compares a step.
inline int32_t FirstNegative(const float* __restrict v, int32_t n) {
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const int bits = _mm256_movemask_ps(_mm256_cmp_ps(_mm256_loadu_ps(v + i), _mm256_setzero_ps(), _CMP_LT_OQ));
    if (bits) return i + std::countr_zero(unsigned(bits));
  }
  for (; i < n; ++i)
    if (v[i] < 0.0f) return i;
  return -1;
}

inline float Sum(const float* __restrict v, int32_t n) {
  float lane[8] = {};
  int i = 0;
  for (; i + 8 <= n; i += 8)
    for (int k = 0; k < 8; ++k) lane[k] += v[i + k];
  float s = 0.0f;
  for (; i < n; ++i) s += v[i];
  return s + ((lane[0] + lane[4]) + (lane[1] + lane[5])) + ((lane[2] + lane[6]) + (lane[3] + lane[7]));
}

// out := a * b per hand; null if either is null.
inline void Multiply(FloatVec& out, const FloatVec& a, const FloatVec& b) {
  if (!a.data || !b.data) {
    SetNull(out, a.count);
    return;
  }
  Resize(out, a.count);
  float* __restrict o = out.data;
  const float* __restrict x = a.data;
  const float* __restrict y = b.data;
  ForBlocks(
      a.count, [&](int i) { _mm256_storeu_ps(o + i, _mm256_mul_ps(_mm256_loadu_ps(x + i), _mm256_loadu_ps(y + i))); },
      [&](int i) { o[i] = x[i] * y[i]; });
}

// acc += a * b; a null product adds nothing, a null acc becomes the product.
// With the 512-bit forms on, the accumulation is fused (one rounding).
inline void MultiplyAdd(FloatVec& acc, const FloatVec& a, const FloatVec& b) {
  if (!a.data || !b.data) return;
  if (!acc.data) {
    Multiply(acc, a, b);
    return;
  }
  if (UseAvx512()) {
    MultiplyAddAvx512(acc.data, a.data, b.data, acc.count);
    return;
  }
  float* __restrict o = acc.data;
  const float* __restrict x = a.data;
  const float* __restrict y = b.data;
  ForBlocks(
      acc.count,
      [&](int i) {
        const __m256 product = _mm256_mul_ps(_mm256_loadu_ps(x + i), _mm256_loadu_ps(y + i));
        _mm256_storeu_ps(o + i, _mm256_add_ps(_mm256_loadu_ps(o + i), product));
      },
      [&](int i) { o[i] += x[i] * y[i]; });
}

// acc += v, moving v in when acc is null.
inline void Add(FloatVec& acc, FloatVec&& v) {
  if (!v.data) return;
  if (!acc.data) {
    acc = static_cast<FloatVec&&>(v);
    return;
  }
  float* __restrict o = acc.data;
  const float* __restrict x = v.data;
  ForBlocks(
      acc.count, [&](int i) { _mm256_storeu_ps(o + i, _mm256_add_ps(_mm256_loadu_ps(o + i), _mm256_loadu_ps(x + i))); },
      [&](int i) { o[i] += x[i]; });
}

// acc := max(acc, v) per hand, a null side counting as zeros.
inline void Max(FloatVec& acc, const FloatVec& v) {
  if (!acc.data) {
    if (!v.data) return;
    Zero(acc, v.count);
  }
  float* __restrict o = acc.data;
  if (!v.data) {
    ForBlocks(
        acc.count, [&](int i) { _mm256_storeu_ps(o + i, _mm256_max_ps(_mm256_loadu_ps(o + i), _mm256_setzero_ps())); },
        [&](int i) { o[i] = o[i] > 0.0f ? o[i] : 0.0f; });
    return;
  }
  const float* __restrict x = v.data;
  // max_ps(a, b) is a > b ? a : b, the scalar rule.
  ForBlocks(
      acc.count, [&](int i) { _mm256_storeu_ps(o + i, _mm256_max_ps(_mm256_loadu_ps(o + i), _mm256_loadu_ps(x + i))); },
      [&](int i) { o[i] = o[i] > x[i] ? o[i] : x[i]; });
}

inline void Scale(FloatVec& v, float factor) {
  if (!v.data) return;
  float* __restrict o = v.data;
  const __m256 f = _mm256_set1_ps(factor);
  ForBlocks(
      v.count, [&](int i) { _mm256_storeu_ps(o + i, _mm256_mul_ps(_mm256_loadu_ps(o + i), f)); },
      [&](int i) { o[i] *= factor; });
}

// out[i] := in[index[i]] for the `count` hands of a child board. A result
// with no positive entry stays null: reaches are never negative.
inline void GatherReach(FloatVec& out, const FloatVec& in, const uint16_t* index, int32_t count) {
  if (!in.data) {
    SetNull(out, count);
    return;
  }
  Resize(out, count);
  float* __restrict o = out.data;
  const float* __restrict x = in.data;
  for (int32_t i = 0; i < count; ++i) o[i] = x[index[i]];
  if (!AnyPositive(o, count)) SetNull(out, count);
}

// acc[index[i]] += v[i], skipping hands whose image has no place (NoHand).
// acc must have memory.
inline void ScatterAdd(float* __restrict acc, const float* __restrict v, const uint16_t* index, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const uint16_t k = index[i];
    if (k != NoHand) acc[k] += v[i];
  }
}

// Dot product in f32, sixteen lanes summed pairwise, widened to f64.
inline double Dot(const FloatVec& a, const float* b) {
  if (!a.data) return 0.0;
  float lane[16] = {};
  const float* __restrict x = a.data;
  int i = 0;
  const int n = a.count;
  for (; i + 16 <= n; i += 16)
    for (int k = 0; k < 16; ++k) lane[k] += x[i + k] * b[i + k];
  for (int k = 0; i < n; ++i, ++k) lane[k] += x[i] * b[i];
  for (int width = 8; width >= 1; width /= 2)
    for (int k = 0; k < width; ++k) lane[k] += lane[k + width];
  return double(lane[0]);
}

}  // namespace vecops
