// PairKernel: the showdown and the fold child of one river node in one
// sweep.
//
// A river node that faces a bet and cannot raise has the call (a showdown)
// and the fold as its last two children, both on the same hand list and,
// at the opponent's side, usually the same reach. One walk over the tie
// groups then serves both: the sums run on reach alone and each payoff is
// applied at the end, so the two results equal those of ShowdownKernel<1>
// and FoldKernel<1> up to rounding.
#pragma once

#include <cstdint>

// One reach for both children. A null reach writes zeros to both outs.
// Arguments as in ShowdownKernel and FoldKernel; activeMask may be null.
void PairKernel(float* outShowdown, float* outFold, const float* reach, int n, const uint16_t* tieRuns,
                int tieRunCount, const uint16_t* handCards, float showdownPayoff, float foldPayoff,
                const uint16_t* activeMask);

// The showdown on reachShowdown, the fold on reachFold. Both reaches are
// present or both null (zeros then). A group is skipped only when the mask
// marks it dead; within the others every hand is tested in both reaches.
void PairKernel2(float* outShowdown, float* outFold, const float* reachShowdown, const float* reachFold,
                 int n, const uint16_t* tieRuns, int tieRunCount, const uint16_t* handCards,
                 float showdownPayoff, float foldPayoff, const uint16_t* activeMask);
