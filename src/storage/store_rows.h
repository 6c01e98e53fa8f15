// Helpers that the store classes share for filling the solver's rows.
//
// Out rows are FloatVecs that a store sizes itself; a store with nothing to
// say for a hand gives the default row. Kept apart from the kernels, which
// know only plain arrays.
#pragma once

#include <cstdint>

#include "storage/float_vec.h"

// Sizes every out row to `hands` and fills row a with defaultRow[a] (zeros
// for a null defaultRow).
void FillDefaultRows(FloatVec* out, int actions, int hands, const float* defaultRow);
// Regret matching of float rows into out rows, by the kernel for the count.
void MatchFloatRows(const float* const* rows, FloatVec* out, int actions, int hands, const float* defaultRow);
// Gives the memory of an out row back if all its bits are zero, keeping its
// length: the solver then skips the child it belongs to.
void ReleaseIfZero(FloatVec& row);
