// What the FSE encoder and decoder share: the format's limits, the
// normalised counts and their header, and the spread of symbols over the
// states. The two sides must lay out the state table identically, or every
// block decodes to noise; so the layout is computed in one place only.
//
// A normalised count is a symbol's share of the 2^tableLog states. The
// value -1 marks a symbol rarer than one state's worth: it gets one state
// all the same, taken from the top of the table, and is coded with the
// full table log of bits.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "storage/codecs/fse.h"

inline constexpr unsigned FseMaxSymbolValue = 255;
inline constexpr unsigned FseMinTableLog = 5;
inline constexpr unsigned FseDefaultTableLog = 11;
inline constexpr unsigned FseMaxTableLog = 12;
inline constexpr unsigned FseMaxTableSize = 1u << FseMaxTableLog;

using FseNormalizedCounts = int16_t[FseMaxSymbolValue + 1];

// Index of the highest set bit; value must not be 0.
inline unsigned FseHighBit(uint32_t value) { return 31u - unsigned(std::countl_zero(value)); }

// The table log for a block: the default, lowered for small blocks where
// fewer states code as well and the header is shorter, raised where the
// symbols would not fit, and kept within the format's limits.
unsigned FseOptimalTableLog(unsigned maxTableLog, size_t srcSize, unsigned maxSymbolValue);

// Scales count[0..maxSymbolValue] (summing to total) to 2^tableLog. Symbols
// at or below total >> tableLog get -1.
FseError FseNormalizeCounts(int16_t* norm, unsigned tableLog, const uint32_t* count, size_t total,
                            unsigned maxSymbolValue);

// The counts header. Returns the bytes written, or dstSizeTooSmall.
FseResult FseWriteCounts(void* dst, size_t dstCapacity, const int16_t* norm, unsigned maxSymbolValue,
                         unsigned tableLog);

// Reads a counts header into norm[0..255] (absent symbols 0) and returns its
// size in bytes; the counts it accepts sum to exactly 2^tableLog.
FseResult FseReadCounts(int16_t* norm, unsigned* maxSymbolValue, unsigned* tableLog, const void* src,
                        size_t srcSize);

// Which symbol each state stands for: tableSymbol[0..2^tableLog). The counts
// must sum to 2^tableLog.
void FseSpreadSymbols(uint8_t* tableSymbol, const int16_t* norm, unsigned maxSymbolValue, unsigned tableLog);
