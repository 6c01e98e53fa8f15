// How a batch of end nodes is cut into kernel calls.
//
// Greedy from the front: the widest lane form that the SIMD level allows
// and that the remaining count fills, repeated. Widths only go down, so
// thirteen showdowns at level 8 run as 8 + 4 + 1 rather than 8 + 5: there
// is no 5-lane form, and a level of 5 is served like 4. Half-empty wide
// forms are never chosen: an idle lane costs as much as a used one.
#pragma once

// The width of the next kernel call for `remaining` (>= 1) showdowns at
// level simdLevel: 8, 7, 6, 4, 3, 2 or 1.
int NextShowdownWidth(int remaining, int simdLevel);

// The same for folds. A fold's lanes are the same sums as a showdown's
// first pass, and a 256-bit row serves 8 lanes for nearly the price of 4,
// so folds take the same widths: the six folds a river node of the bench
// spots often has go in one sweep rather than 4 + 2.
int NextFoldWidth(int remaining, int simdLevel);
