// The regret step on 16-bit rows, plain and fused with the node value.
//
// An element is a regret in units of 1/w chips (w: the weight of the call
// times the entry's scale). A difference d moves it by
// trunc((w * |d|)^0.75) = trunc(p * |d|^0.75) units with p = w^0.75, up for
// d >= 1/w, down for d <= -1/w, and not at all inside that band, where the
// step wouldn't reach one unit. A step down ends at 0, never wraps. A step
// up saturates at 65535: with adaptive scales the store keeps values far
// below that, and without them saturating is the only sound outcome.
#pragma once

#include <cstddef>
#include <cstdint>

struct U16Step {
  float p = 1.0f;  // w^0.75
  float t = 1.0f;  // 1 / w, the band
  static U16Step ForWeight(float w);
};

// value or baseline may be null (zeros); masked hands are left alone.
void U16RegretUpdate(uint16_t* row, const float* value, const float* baseline, const uint8_t* mask, int hands,
                     U16Step step);

// Every run of hands of equal strength gets the integer quotient of its
// total by its length. Runs past the row's end are cut.
void AverageTies(uint16_t* row, int hands, const uint16_t* runs, size_t runCount);

// Node value and regret step in one pass for two and three actions: out is
// the value under the strategy the rows stand for (fallback where their
// total is zero), and each row steps by its action's value minus that.
// With enable_avx512 on, on a processor that has it, they run the 512-bit
// forms, which give the same bits; the plain forms stay callable so that
// the two can be compared on such a processor.
void U16Fused2(uint16_t* r0, uint16_t* r1, const float* x0, const float* x1, float* out, int hands, U16Step step,
               const float* fallback);
void U16Fused3(uint16_t* r0, uint16_t* r1, uint16_t* r2, const float* x0, const float* x1, const float* x2,
               float* out, int hands, U16Step step, const float* fallback);
void U16Fused2Plain(uint16_t* r0, uint16_t* r1, const float* x0, const float* x1, float* out, int hands,
                    U16Step step, const float* fallback);
void U16Fused3Plain(uint16_t* r0, uint16_t* r1, uint16_t* r2, const float* x0, const float* x1, const float* x2,
                    float* out, int hands, U16Step step, const float* fallback);

// Multiplies every element: factors 2, 4 and 8 as shifts, others in float,
// truncated; results are clamped to 0..65535.
void U16Scale(uint16_t* row, int hands, float factor);
uint16_t U16Max(const uint16_t* row, int hands);
