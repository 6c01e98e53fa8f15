// The 512-bit forms of regret matching on 16-bit rows with two and three
// actions, and of the strategy-times-reach forms built on them.
//
// Sixteen hands a step, the last partial step by masked loads and stores,
// so there is no scalar tail. They give the same bits as the plain forms of
// u16_regret_matching.h: the totals are exact sums of integers, the
// quotients the same correctly rounded division, and hands with a zero total
// take the fallback by a blend, never by arithmetic. The division runs only
// on hands with a positive total, so no lane divides zero by zero. Only
// callers that have tested UseAvx512() may call them; the public functions
// of u16_regret_matching.h do.
#pragma once

#include <cstdint>

void U16Match2Avx512(const uint16_t* r0, const uint16_t* r1, float* o0, float* o1, int hands, const float* fallback);
void U16Match3Avx512(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2, float* o0, float* o1, float* o2,
                     int hands, const float* fallback);
void U16TimesReach2Avx512(const uint16_t* r0, const uint16_t* r1, const float* reach, float* o0, float* o1, int hands,
                          const float* fallback);
void U16TimesReach3Avx512(const uint16_t* r0, const uint16_t* r1, const uint16_t* r2, const float* reach, float* o0,
                          float* o1, float* o2, int hands, const float* fallback);
