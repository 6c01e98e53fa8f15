// The 512-bit forms of the fused node value and regret step on 16-bit rows
// with two and three actions.
//
// The plain forms spend their time in the square roots and the division,
// which cost about as much on sixteen lanes as on eight on the processors
// that have AVX-512, so sixteen hands a step nearly halves them. The last
// partial step goes by masked loads and stores; there is no scalar tail.
// They give the same bits as the plain forms of u16_regret_update.h: the
// same operations in the same order, no fused multiply-add, the same
// operand order in min and max, and hands with a zero total take the
// fallback terms by a mask select; the division runs only where the total
// is positive. Being identical, they are chosen by the processor alone:
// only callers that have tested CpuHasAvx512() may call them; U16Fused2 and
// U16Fused3 do.
#pragma once

#include <cstdint>

#include "storage/kernels/u16_regret_update.h"

void U16Fused2Avx512(uint16_t* r0, uint16_t* r1, const float* x0, const float* x1, float* out, int hands,
                     U16Step step, const float* fallback);
void U16Fused3Avx512(uint16_t* r0, uint16_t* r1, uint16_t* r2, const float* x0, const float* x1, const float* x2,
                     float* out, int hands, U16Step step, const float* fallback);
