#include "solver/kernels/fold_kernel.h"

#include "solver/kernels/kernel_lanes.h"

namespace {

// out[i] += p * reach[i], eight hands at a time.
void AddScaled(float* __restrict out, const float* __restrict reach, float p, int n) {
  const __m256 pv = _mm256_set1_ps(p);
  int i = 0;
  for (; i + 8 <= n; i += 8)
    _mm256_storeu_ps(out + i, _mm256_add_ps(_mm256_loadu_ps(out + i), _mm256_mul_ps(pv, _mm256_loadu_ps(reach + i))));
  for (; i < n; ++i) out[i] += p * reach[i];
}

}  // namespace

// One template for every width: with L = 1 LaneVec is a float and this is
// the scalar kernel.
template <int L>
void FoldKernel(float* const* outs, const float* const* reaches, int n, const uint16_t* handCards,
                const float* payoffs) {
  using V = LaneVec<L>;
  if constexpr (L == 1) {
    if (reaches[0] == nullptr) {
      ZeroOuts<1>(outs, n);
      return;
    }
  }
  const V p = LoadPayoffs<L>(payoffs);
  alignas(64) V cardSum[52];
  for (V& row : cardSum) row = V{};
  V total = V{};

  // 1. Totals over the hands with reach; a zero reach leaves the card
  // table alone, which is what makes a sparse reach cheap.
  for (int i = 0; i < n; ++i) {
    const V r = GatherLanes<L>(reaches, i);
    if (!AnyPositive<L>(r)) continue;
    const V w = p * r;
    total += w;
    cardSum[handCards[i] & 0xFF] += w;
    cardSum[handCards[i] >> 8] += w;
  }

  // 2. Nothing reached: exact zeros rather than the rounding noise of the
  // subtraction.
  if (AllNearZero<L>(total)) {
    ZeroOuts<L>(outs, n);
    return;
  }

  // 3. The hand identical to i was subtracted with both of its cards;
  // p * reach[i] puts it back once.
  if constexpr (L == 1) {
    for (int i = 0; i < n; ++i) {
      const V r = reaches[0][i];
      outs[0][i] = total - cardSum[handCards[i] & 0xFF] - cardSum[handCards[i] >> 8] + p * r;
    }
  } else {
    // The lanes' sums go out transposed, and the own-hand term is added
    // lane by lane on contiguous rows: gathering each hand's L reaches
    // again would cost more than the second sweep over the outs.
    LaneWriter<L> writer(outs);
    for (int i = 0; i < n; ++i) writer.Put(i, total - cardSum[handCards[i] & 0xFF] - cardSum[handCards[i] >> 8]);
    writer.Finish(n);
    for (int lane = 0; lane < L; ++lane) AddScaled(outs[lane], reaches[lane], payoffs[lane], n);
  }
}

template void FoldKernel<1>(float* const*, const float* const*, int, const uint16_t*, const float*);
template void FoldKernel<2>(float* const*, const float* const*, int, const uint16_t*, const float*);
template void FoldKernel<3>(float* const*, const float* const*, int, const uint16_t*, const float*);
template void FoldKernel<4>(float* const*, const float* const*, int, const uint16_t*, const float*);
template void FoldKernel<6>(float* const*, const float* const*, int, const uint16_t*, const float*);
template void FoldKernel<7>(float* const*, const float* const*, int, const uint16_t*, const float*);
template void FoldKernel<8>(float* const*, const float* const*, int, const uint16_t*, const float*);
