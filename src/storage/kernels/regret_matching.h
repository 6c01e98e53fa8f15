// Regret matching of float rows: the strategy that a row set of regrets or
// strategy sums stands for.
//
// out[a][i] = min(1, rows[a][i] / sum[i]) where sum[i], the total over the
// actions, is at least the smallest normal float; else fallback[a]. The cap
// matters only with more than three actions (rounding of a long sum); the
// two- and three-action forms exist because those nodes are the common case
// and keep their rows in registers. The division is exact, not a reciprocal
// estimate.
#pragma once

void RegretMatch2(const float* r0, const float* r1, float* o0, float* o1, int hands, const float* fallback);
void RegretMatch3(const float* r0, const float* r1, const float* r2, float* o0, float* o1, float* o2, int hands,
                  const float* fallback);
void RegretMatchN(const float* const* rows, float* const* out, int actions, int hands, const float* fallback);
