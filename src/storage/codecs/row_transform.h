// The row transform under every stream codec: rows of regrets or strategy
// sums, one number per hand in strength order, become small unsigned
// symbols that are mostly zero.
//
// Neighbouring hands have close values, so each value is predicted by its
// left neighbour; where the caller also has the row written before (the
// same node one iteration earlier), the change of the left step since that
// row may be smaller still. Both predictions are tried and the one with
// fewer non-zero symbols wins, ties going to the plain left step (mode 0),
// which needs no previous row to undo. Signed differences wrap in 32 bits
// and are zigzag-mapped, so that small steps either way give small symbols.
//
// Rows of 16 bits are widened, not wrapped at 16 bits: a step from 65535
// to 0 is the symbol 131069, not 1. The inverse takes the result modulo
// 65536, so the round trip holds either way; this form is the one the
// stream layout was made for.
//
// No function allocates: the caller supplies the symbol buffer, which the
// codecs keep for the row size ceiling.
//
// The 16-bit forms have 512-bit twins, which the program runs when the
// client allows them and the processor has them. This layer may not look at
// settings or at the processor, so the program hands it the question as a
// function, asked afresh at every row: a change of the setting mid-run is
// then seen at the next row, as with the solver's other 512-bit loops.
#pragma once

#include <cstddef>
#include <cstdint>

// Row modes, the byte each coded row starts with.
inline constexpr uint8_t RowModeLeft = 0;           // step from the left neighbour
inline constexpr uint8_t RowModeLeftAndPrevious = 1;  // that step minus the previous row's

inline uint32_t ZigzagEncode(int32_t d) { return (uint32_t(d) << 1) ^ uint32_t(d >> 31); }
inline int32_t ZigzagDecode(uint32_t z) { return int32_t((z >> 1) ^ (0u - (z & 1))); }

// Whether the 16-bit forms are to run on 512-bit registers. Null (the start
// value) means never. Returns the test it replaces; meant for start-up and
// tests, as every thread reads it without a lock.
using RowTransformWideTest = bool (*)();
RowTransformWideTest SetRowTransformWideTest(RowTransformWideTest test);

// Fills symbols[0..count) and returns the row mode. previous may be null;
// then the mode is RowModeLeft.
uint8_t TransformRow32(const uint32_t* row, const uint32_t* previous, uint32_t* symbols, size_t count);
uint8_t TransformRow16(const uint16_t* row, const uint16_t* previous, uint32_t* symbols, size_t count);

// The inverse. previous must be what the writer had (null or not); the mode
// RowModeLeftAndPrevious needs it. For 32-bit rows, row may be symbols:
// each value reads only its own symbol and values to its left.
void InverseRow32(const uint32_t* symbols, const uint32_t* previous, uint32_t* row, size_t count, uint8_t mode);
void InverseRow16(const uint32_t* symbols, const uint16_t* previous, uint16_t* row, size_t count, uint8_t mode);
