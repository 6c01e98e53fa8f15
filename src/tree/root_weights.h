// The players' weights at the root and the joint total that normalises them.
//
// The joint total is the weight of all ordered pairs of hands without a
// shared card, one hand from each player. It is the same for both players,
// and dividing by it turns counterfactual values into expected chips. It is
// summed with CompatibleWeight, so that a list of a thousand hands costs a
// thousand steps rather than a million.
#pragma once

#include <vector>

#include "setup/cards.h"

// Sum over hands i of w0[i] times the sum of w1[j] over hands j sharing no
// card with i. hands and both weight arrays have the same length.
double JointTotal(const std::vector<CardMask>& hands, const float* w0, const float* w1);
