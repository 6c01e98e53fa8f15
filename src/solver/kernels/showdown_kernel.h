// ShowdownKernel: the values of every hand at a showdown end node, in O(n).
//
// On a river the hand list is sorted by strength, so a hand's value is
// (reach-weighted hands below it) - (those above it), each less the hands
// that share a card with it. The kernel walks the tie groups twice: the
// first pass gathers the live hands into a compact list with their
// weights and the per-card totals, the second walks the groups with a
// running total and fills every out entry. Groups without a live hand are
// merged into one record, so a sparse reach costs its live hands plus one
// write per out entry. The lane forms evaluate L end nodes with different
// reaches and payoffs on the same board in one sweep.
#pragma once

#include <cstdint>

// outs[l], reaches[l] (l < L): arrays of n floats in hand-list order.
// tieRuns: the sizes of the tie groups in list order (tieRunCount of them,
// adding up to n). handCards[i] = low card + 256 * high card. payoffs[l]:
// what the winner of the showdown gets; a tie is worth 0.
// activeMask: null, or one word per tie group: for a group of up to 16
// hands bit i is set when hand i of the group may have reach above 0 in
// some lane (hands off the mask are taken as dead); for a larger group any
// non-zero word marks the group as worth scanning. A zero word skips the
// group. With a null mask every hand is tested by its reach.
// L is 1, 2, 3, 4, 6, 7 or 8. The one-lane form accepts reaches[0] ==
// nullptr and then writes zeros; the lane forms need every reach.
template <int L>
void ShowdownKernel(float* const* outs, const float* const* reaches, int n, const uint16_t* tieRuns,
                    int tieRunCount, const uint16_t* handCards, const float* payoffs,
                    const uint16_t* activeMask);

#define KESTRUNE_DECLARE_SHOWDOWN_KERNEL(L)                                                            \
  extern template void ShowdownKernel<L>(float* const*, const float* const*, int, const uint16_t*, int, \
                                         const uint16_t*, const float*, const uint16_t*);
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(1)
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(2)
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(3)
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(4)
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(6)
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(7)
KESTRUNE_DECLARE_SHOWDOWN_KERNEL(8)
#undef KESTRUNE_DECLARE_SHOWDOWN_KERNEL
