// Lane blocks: the shape every row kernel of the stores is written in.
//
// The library is built at -O2, where GCC vectorises a loop only if the
// vector code replaces the scalar loop entirely, so a loop over `hands`
// stays scalar. ForLanes therefore runs the step on fixed blocks of eight
// hands, which GCC turns into vector code, and then on the remaining hands
// one at a time: the tail is the whole kernel in scalar form, so a kernel
// computes the same numbers whatever the hand count.
//
// Two more obstacles and how the kernels meet them:
// - The build keeps -ftrapping-math, so GCC won't if-convert a float
//   operation that only one arm of a ?: needs, and it sinks operations into
//   such arms by itself. A plain ?: works where both arms are computed
//   anyway (typically min/max and a fallback constant); where it doesn't,
//   Select blends on the bit patterns, which leaves no branch to sink into.
// - sqrtf may set errno, which makes it a call the vectoriser won't touch.
//   Kernels that need roots gather a block's inputs in an array and take
//   SqrtLanes; the scalar tail uses std::sqrt. Both are correctly rounded,
//   so block and tail agree bit for bit.
#pragma once

#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>

namespace lanes {

inline constexpr int Width = 8;
// Below this a sum of regrets counts as zero: the smallest normal float.
inline constexpr float MinNormal = 1.1754944e-38f;

template <class Step>
inline __attribute__((always_inline)) void ForLanes(int count, Step step) {
  int i = 0;
  for (; i + Width <= count; i += Width)
    for (int k = 0; k < Width; ++k) step(i + k);
  for (; i < count; ++i) step(i);
}

// a where c holds, else b; branch-free on the bit patterns.
inline float Select(bool c, float a, float b) {
  uint32_t m = 0u - uint32_t(c);
  return std::bit_cast<float>((std::bit_cast<uint32_t>(a) & m) | (std::bit_cast<uint32_t>(b) & ~m));
}

// yes where mask (a compare result) is set, else no. Not vblendvps: GCC
// 12 rewrites that intrinsic into a select on the sign bits, which without
// AVX2 it expands lane by lane through general registers. Three bitwise
// operations stay what they are once the mask's origin is hidden from the
// optimiser, which would otherwise make the same select of them.
inline __m256 Blend(__m256 no, __m256 yes, __m256 mask) {
  __asm__("" : "+x"(mask));
  return _mm256_or_ps(_mm256_and_ps(mask, yes), _mm256_andnot_ps(mask, no));
}

// Eight 16-bit elements widened to floats. SSE4.1 conversions on two
// halves: the 256-bit integer forms need AVX2.
inline __m256 WidenU16(const uint16_t* row) {
  const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
  const __m128i lo = _mm_cvtepu16_epi32(raw);
  const __m128i hi = _mm_cvtepu16_epi32(_mm_srli_si128(raw, 8));
  return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(lo), hi, 1));
}

// The loop shape of the kernels written in intrinsics: block(i) on eight
// elements at a time, one(i) on the rest.
template <class Block, class One>
inline __attribute__((always_inline)) void ForBlocks(int count, Block block, One one) {
  int i = 0;
  for (; i + Width <= count; i += Width) block(i);
  for (; i < count; ++i) one(i);
}

inline void SqrtLanes(float (&x)[Width]) { _mm256_storeu_ps(x, _mm256_sqrt_ps(_mm256_loadu_ps(x))); }

// factor * x^0.75 of a non-negative x, computed as
// (factor * sqrt(x)) * sqrt(sqrt(x)): the lane form below gives the same bits.
inline float Pow075(float x, float factor = 1.0f) {
  float s = std::sqrt(x);
  return factor * s * std::sqrt(s);
}

// Pow075 of eight inputs in place.
inline void Pow075Lanes(float (&x)[Width], float factor = 1.0f) {
  SqrtLanes(x);
  float q[Width];
  for (int k = 0; k < Width; ++k) q[k] = x[k];
  SqrtLanes(q);
  for (int k = 0; k < Width; ++k) x[k] = factor * x[k] * q[k];
}

}  // namespace lanes
