// FoldKernel: the values of every hand at a fold end node, in O(n).
//
// The value of hand i is the payoff times the summed reach of the opponent
// hands that share no card with it. Instead of that n x n sum the kernel
// takes the grand total and subtracts, per card, the total of the hands
// holding that card; the hand identical to i is subtracted twice that way,
// so its own term is added back once. The lane forms run L end nodes with
// different reaches and payoffs over the same hand list in one sweep: the
// cards of each hand are read once for all of them.
#pragma once

#include <cstdint>

// outs[l] and reaches[l] (l < L) are arrays of n floats in hand-list order;
// payoffs[l] is signed from the traverser's side (positive when the
// traverser won the fold). handCards[i] = low card + 256 * high card.
// L is 1, 2, 3, 4, 6, 7 or 8, as for showdowns. The one-lane form accepts reaches[0] == nullptr and
// then writes zeros; the lane forms need every reach.
template <int L>
void FoldKernel(float* const* outs, const float* const* reaches, int n, const uint16_t* handCards,
                const float* payoffs);

extern template void FoldKernel<1>(float* const*, const float* const*, int, const uint16_t*, const float*);
extern template void FoldKernel<2>(float* const*, const float* const*, int, const uint16_t*, const float*);
extern template void FoldKernel<3>(float* const*, const float* const*, int, const uint16_t*, const float*);
extern template void FoldKernel<4>(float* const*, const float* const*, int, const uint16_t*, const float*);
extern template void FoldKernel<6>(float* const*, const float* const*, int, const uint16_t*, const float*);
extern template void FoldKernel<7>(float* const*, const float* const*, int, const uint16_t*, const float*);
extern template void FoldKernel<8>(float* const*, const float* const*, int, const uint16_t*, const float*);
