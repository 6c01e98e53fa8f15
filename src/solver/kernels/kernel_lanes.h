// The lane vector of the terminal kernels: L end nodes side by side.
//
// A lane form keeps one float per end node in each running sum, so one
// read of a hand's cards serves all of them. Up to 4 lanes fit a 128-bit
// register and up to 8 a 256-bit one; idle lanes carry zeros (zero reach,
// zero payoff) and are never written out. The one-lane forms use a plain
// float, so that the same template is the scalar kernel. The arithmetic is
// written with GCC vector extensions, which read as plain code and compile
// to single AVX instructions; intrinsics appear only where GCC would
// otherwise go through memory (building a vector from L arrays, the
// transposed stores). Only the kernel sources include this header; they
// are built with -mavx, without AVX2.
#pragma once

#include <cstdint>
#include <type_traits>

#include <immintrin.h>

typedef float LaneVec4 __attribute__((vector_size(16)));
typedef float LaneVec8 __attribute__((vector_size(32)));

template <int L>
using LaneVec = std::conditional_t<L == 1, float, std::conditional_t<L <= 4, LaneVec4, LaneVec8>>;

// The limits of a river hand list: 1326 hands, and the kernels' stack
// tables are sized for that.
inline constexpr int KernelMaxHands = 1326;

// Below this a total is taken as zero: the smallest normal float.
inline constexpr float KernelZeroTotal = 1.1754944e-38f;

// reaches[l][i] for each used lane, zeros in the idle ones. Built by one
// set instruction sequence: filling the vector element by element lets GCC
// go through memory, and the wide load after narrow stores stalls.
template <int L>
inline float LaneOrZero(const float* const* arrays, int lane, int i) {
  if (lane < L) return arrays[lane][i];
  return 0.0f;
}

template <int L>
inline LaneVec<L> GatherLanes(const float* const* arrays, int i) {
  if constexpr (L == 1) {
    return arrays[0][i];
  } else if constexpr (L <= 4) {
    return LaneVec<L>(_mm_setr_ps(arrays[0][i], LaneOrZero<L>(arrays, 1, i), LaneOrZero<L>(arrays, 2, i),
                                  LaneOrZero<L>(arrays, 3, i)));
  } else {
    return LaneVec<L>(_mm256_setr_ps(arrays[0][i], arrays[1][i], arrays[2][i], arrays[3][i], arrays[4][i],
                                     arrays[5][i], LaneOrZero<L>(arrays, 6, i), LaneOrZero<L>(arrays, 7, i)));
  }
}

template <int L>
inline void ScatterLanes(float* const* outs, int i, LaneVec<L> v) {
  if constexpr (L == 1) {
    outs[0][i] = v;
  } else {
    for (int lane = 0; lane < L; ++lane) outs[lane][i] = v[lane];
  }
}

template <int L>
inline LaneVec<L> LoadPayoffs(const float* payoffs) {
  if constexpr (L == 1) {
    return payoffs[0];
  } else {
    LaneVec<L> v = {};
    for (int lane = 0; lane < L; ++lane) v[lane] = payoffs[lane];
    return v;
  }
}

// True when any lane is above zero; one compare and one movemask.
template <int L>
inline bool AnyPositive(LaneVec<L> v) {
  if constexpr (L == 1) {
    return v > 0.0f;
  } else if constexpr (L <= 4) {
    return _mm_movemask_ps(_mm_cmpgt_ps(__m128(v), _mm_setzero_ps())) != 0;
  } else {
    return _mm256_movemask_ps(_mm256_cmp_ps(__m256(v), _mm256_setzero_ps(), _CMP_GT_OQ)) != 0;
  }
}

// True when every used lane is within KernelZeroTotal of zero; made once
// per call, so plain code.
template <int L>
inline bool AllNearZero(LaneVec<L> v) {
  if constexpr (L == 1) {
    return v <= KernelZeroTotal && v >= -KernelZeroTotal;
  } else {
    for (int lane = 0; lane < L; ++lane)
      if (!(v[lane] <= KernelZeroTotal && v[lane] >= -KernelZeroTotal)) return false;
    return true;
  }
}

template <int L>
inline void ZeroOuts(float* const* outs, int n) {
  for (int lane = 0; lane < L; ++lane)
    for (int i = 0; i < n; ++i) outs[lane][i] = 0.0f;
}

// Writes lane vectors hand by hand into L out arrays. Writing each lane's
// float on its own costs an extract and a store per lane per hand; from 4
// lanes up a block of 4 or 8 hands is collected, transposed in registers, and each
// lane gets one unaligned vector store. Hands must come in order from 0;
// Finish writes the last partial block lane by lane.
template <int L>
class LaneWriter {
 public:
  explicit LaneWriter(float* const* outs) : outs_(outs) {}

  void Put(int i, LaneVec<L> v) {
    if constexpr (Block == 1) {
      ScatterLanes<L>(outs_, i, v);
    } else {
      pending_[i % Block] = v;
      if (i % Block == Block - 1) Flush(i - (Block - 1));
    }
  }

  void Finish(int n) {
    if constexpr (Block > 1)
      for (int i = n - n % Block; i < n; ++i) ScatterLanes<L>(outs_, i, pending_[i % Block]);
  }

 private:
  // Two or three lanes write fewer floats than a 4 x 4 transpose moves.
  static constexpr int Block = L < 4 ? 1 : L == 4 ? 4 : 8;

  void Flush(int first) {
    if constexpr (Block == 4) {
      __m128 r0 = __m128(pending_[0]), r1 = __m128(pending_[1]), r2 = __m128(pending_[2]),
             r3 = __m128(pending_[3]);
      _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
      const __m128 rows[4] = {r0, r1, r2, r3};
      for (int lane = 0; lane < L; ++lane) _mm_storeu_ps(outs_[lane] + first, rows[lane]);
    } else if constexpr (Block == 8) {
      __m256 t[8], u[8];
      for (int k = 0; k < 8; k += 2) {
        t[k] = _mm256_unpacklo_ps(__m256(pending_[k]), __m256(pending_[k + 1]));
        t[k + 1] = _mm256_unpackhi_ps(__m256(pending_[k]), __m256(pending_[k + 1]));
      }
      for (int k = 0; k < 8; k += 4) {
        u[k] = _mm256_shuffle_ps(t[k], t[k + 2], 0x44);
        u[k + 1] = _mm256_shuffle_ps(t[k], t[k + 2], 0xEE);
        u[k + 2] = _mm256_shuffle_ps(t[k + 1], t[k + 3], 0x44);
        u[k + 3] = _mm256_shuffle_ps(t[k + 1], t[k + 3], 0xEE);
      }
      // Row l holds lane l of the 8 hands: low halves from hands 0-3,
      // high halves from hands 4-7.
      for (int lane = 0; lane < L; ++lane) {
        const __m256 row = lane < 4 ? _mm256_permute2f128_ps(u[lane], u[lane + 4], 0x20)
                                    : _mm256_permute2f128_ps(u[lane - 4], u[lane], 0x31);
        _mm256_storeu_ps(outs_[lane] + first, row);
      }
    }
  }

  float* const* outs_;
  alignas(32) LaneVec<L> pending_[Block];
};
