// The four rank-mask lookup tables behind every evaluator.
//
// Each table maps a 13-bit rank mask (bit = rank) to one word. They stop at
// index 8128 (0x1FC0, the seven highest ranks) rather than 8191, because seven
// cards never hold more than seven distinct ranks, and a lane never more than
// seven cards: 8129 words keep all four tables in 128 KB of cache. They are
// filled by InitHandTables at start-up rather than by static initialisers,
// since this code is built for AVX and must not run before main has checked
// the processor. After that they are read-only and shared by all threads.
#pragma once

#include <cstdint>

inline constexpr int HandTableSize = 8129;

// Number of ranks in the mask.
extern uint32_t RankCountTable[HandTableSize];
// Rank of the highest bit.
extern uint32_t TopRankTable[HandTableSize];
// The highest five ranks, highest first, four bits each and right-aligned:
// five or more bits put the first rank at bits 19..16, three bits at 11..8.
extern uint32_t TopFiveRanksTable[HandTableSize];
// HandValue of the best straight in the mask (type 4, top rank in bits
// 19..16), 0 if there is none. The ace-low run counts, with top rank 3.
extern uint32_t StraightValueTable[HandTableSize];

// Fills the tables; a second call returns at once. Call it on one thread
// before any evaluation.
void InitHandTables();
