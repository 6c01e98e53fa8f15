// The 512-bit form of acc += a * b on float rows, the accumulation of the
// action values of a decision node.
//
// It is the one fused multiply-add of the solver: the plain form multiplies
// and then adds, with two roundings, and the two forms therefore differ in
// the last bit now and then. Only callers that have tested UseAvx512() may
// call it.
#pragma once

#include <cstdint>

// acc[i] += a[i] * b[i] for i < count, 32 floats a step, the rest of the row
// by masked loads and stores, which touch nothing past count.
void MultiplyAddAvx512(float* acc, const float* a, const float* b, int32_t count);
