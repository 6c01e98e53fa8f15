// Regret matching on 16-bit rows, widened to float on the way.
//
// The rows of one entry are non-negative integers, so the test for "no
// information" is a total of zero, not a threshold. Totals are formed in
// float: exact for 16-bit elements, and for the shifted rows of sum stores
// the rounding of a total above 2^24 is far below the precision of the
// quotient. rowFactor (2^shift per row) may be null for plain rows.
//
// The two- and three-action forms choose at each call between their plain
// loop and a 512-bit one (UseAvx512); both give the same bits.
#pragma once

#include <cstdint>

void U16Match2(const uint16_t* r0, const uint16_t* r1, float* o0, float* o1, int hands, const float* fallback);
void U16Match3(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2, float* o0, float* o1, float* o2,
               int hands, const float* fallback);
void U16MatchN(const uint16_t* const* rows, const float* rowFactor, float* const* out, int actions, int hands,
               const float* fallback);

// Strategy times reach, without float rows of strategy: out0 = s * reach,
// out1 = (1 - s) * reach with s = r0 / (r0 + r1), or fallback[0] where the
// total is zero; with three actions the last is 1 - s0 - s1.
void U16TimesReach2(const uint16_t* r0, const uint16_t* r1, const float* reach, float* o0, float* o1, int hands,
                    const float* fallback);
void U16TimesReach3(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2, const float* reach, float* o0,
                    float* o1, float* o2, int hands, const float* fallback);
