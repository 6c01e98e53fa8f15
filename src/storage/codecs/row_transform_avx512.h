// The 512-bit forms of the 16-bit row transform and its inverse.
//
// They give exactly the symbols and rows of the plain forms: the same
// integer arithmetic, sixteen hands a step, the last partial step under a
// mask, so there is no scalar tail. Only callers that know the processor
// has AVX512F, BW and VL may call them; TransformRow16 and InverseRow16 do
// when the installed test says so.
#pragma once

#include <cstddef>
#include <cstdint>

uint8_t TransformRow16Avx512(const uint16_t* row, const uint16_t* previous, uint32_t* symbols, size_t count);
void InverseRow16Avx512(const uint32_t* symbols, const uint16_t* previous, uint16_t* row, size_t count, uint8_t mode);
