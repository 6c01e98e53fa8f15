// Strategy sums in 16-bit rows.
//
// ShiftSumAccumulate: the row's true values are its elements shifted left
// by the row's shift. It adds round(w2 * value) (w2 already divided by
// 2^shift) in 32 bits, and if the largest total passes `limit` halves all
// totals by further shifts until it fits: a row loses its lowest bits
// rather than its largest values. Returns the number of shifts added.
// Values are non-negative reach-weighted strategies; locks play no part.
//
// U16SumAccumulate: element = round(element + w * value), saturated, on
// unmasked hands; the older sum store's narrow form.
#pragma once

#include <cstdint>

int ShiftSumAccumulate(uint16_t* row, const float* value, float w2, int hands, uint32_t limit);
void U16SumAccumulate(uint16_t* row, const float* value, float w, const uint8_t* mask, int hands);
