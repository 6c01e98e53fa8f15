// Row updates of float stores: the regret step and the strategy sum.
//
// The regret step adds sign(d) * |d|^0.75 with d = value - baseline and
// floors the result at zero: the compressed power damps single large
// differences, and regrets never go negative, so regret matching needs no
// clipping. A null value or baseline stands for zeros; hands whose mask
// byte is non-zero are left alone.
#pragma once

#include <cstdint>

void FloatRegretUpdate(float* row, const float* value, const float* baseline, const uint8_t* mask, int hands);
// Regret matching, the node's value under that strategy and the regret
// step of every row, in one pass over the rows for two and three actions:
// the same numbers as GetStrategy, the plain multiply-adds of the value and
// FloatRegretUpdate against it, in that order. out gets the value;
// fallback is the strategy of a hand whose regrets add up to nothing.
void FloatFused(float* const* rows, const float* const* values, float* out, int actions, int hands,
                const float* fallback);
// out[a] = the same strategy times reach, for two and three actions;
// positive[a] says whether out[a] has an element above zero.
void FloatTimesReach(const float* const* rows, const float* reach, float* const* out, int actions, int hands,
                     const float* fallback, bool* positive);
// row += weight * value on unmasked hands.
void FloatAccumulate(float* row, const float* value, float weight, const uint8_t* mask, int hands);
