#include "storage/kernels/sum_accumulate.h"

#include "storage/kernels/lanes.h"

using lanes::ForLanes;
using lanes::Select;

namespace {

// trunc(0.5 + w2 * v) added to the element, in 32 bits. The increment is
// clamped below 2^31 - 65536 so the total can't overflow whatever the
// weight; a negative one counts as 0.
inline int32_t Total(uint16_t element, float w2, float v) {
  float inc = 0.5f + w2 * v;
  inc = Select(inc < 2147418112.0f, inc, 2147418112.0f);
  inc = Select(inc > 0.0f, inc, 0.0f);
  return int32_t(element) + int32_t(inc);
}

}  // namespace

int ShiftSumAccumulate(uint16_t* __restrict row, const float* __restrict value, float w2, int hands,
                       uint32_t limit) {
  // Pass 1 finds the largest total, pass 2 writes the totals shifted; both
  // compute them the same way, so no scratch row is needed.
  int32_t largest = 0;
  ForLanes(hands, [&](int i) {
    int32_t t = Total(row[i], w2, value[i]);
    largest = t > largest ? t : largest;
  });
  int shift = 0;
  for (uint32_t m = uint32_t(largest); m > limit; m >>= 1) ++shift;
  ForLanes(hands, [&](int i) { row[i] = uint16_t(Total(row[i], w2, value[i]) >> shift); });
  return shift;
}

void U16SumAccumulate(uint16_t* __restrict row, const float* __restrict value, float w,
                      const uint8_t* __restrict mask, int hands) {
  ForLanes(hands, [&](int i) {
    float x = 0.5f + w * value[i] + float(row[i]);
    x = Select(x < 65535.0f, x, 65535.0f);
    x = Select(x > 0.0f, x, 0.0f);
    uint16_t next = uint16_t(int32_t(x));
    row[i] = mask && mask[i] ? row[i] : next;
  });
}
