// Store set-up: which StrategyStore class every decision node gets, and the
// compression level that decides it for the river.
//
// The level is chosen before any memory is taken: the byte counts come
// from element counts (the first store's unpadded elements, times 6 with a
// strategy-sum store beside it, else times 2), not from the classes the
// nodes end up with, so the estimate is the same whatever level is asked.
// The automatic level prefers "fast" whenever the whole tree fits in 90% of
// the available memory, and otherwise the least compression that fits by a
// table of measured ratios. Only flop trees compress: trees rooted later
// keep float rivers whatever the level.
#pragma once

#include <cstdint>

struct SolverContext;
struct TreeNode;

inline constexpr int AutoCompression = -1;
inline constexpr int MinCompressionLevel = -1;
inline constexpr int MaxCompressionLevel = 5;
inline constexpr int FastCompression = 5;

// "auto", "none", "low", "medium", "high", "max", "fast" for -1 to 5; "?"
// for anything else.
const char* CompressionWord(int level);

struct StoreLevelPair {
  int regret;  // a: the first store of river nodes
  int sum;     // b: the second store
};
// The StoreLevels of a resolved level 0..5.
StoreLevelPair LevelPair(int level);

// Estimated size after compression, as a fraction of level 0, by the number
// of suits on the flop; 1.0 for a level outside 0..5.
double CompressionRatio(int flopSuits, int level);
// The automatic choice, from the uncompressed bytes and the memory budget.
int ResolveAutoLevel(int64_t bytes, int64_t budget, int flopSuits);

// Deletes the node's stores and makes them anew, for its street and the
// tree's StoreLevels, and adds its first store's elements to the count of
// its street.
void BuildStores(SolverContext& context, TreeNode& node);
// Drops the node's stores, and with them the marks of the boards its
// chance records say were solved in them.
void DropNodeStores(TreeNode& node);
// StoreLevels, regret scale, then the stores of every decision node not on
// a forgotten street, then the byte counts; the run's counters start
// again. Memory is not taken here. The caller sets the solver limits that go with the levels and forgets
// the measurements of the old stores.
void SetUpStores(SolverContext& context, int a, int b);
// Resolves a level (the automatic choice by memory included), records it
// in ActualCompression and sets up the stores. The automatic choice counts
// the uncompressed bytes first and leaves them in countedBytes (else -1),
// Not while a solver runs: the caller checks.
void ApplyCompression(SolverContext& context, int level, int64_t& countedBytes);

// The byte counts of streets 1 to 3 together.
int64_t UncompressedStoreBytes(const SolverContext& context);
// estimate_schematic_tree's figure: bytes times the ratio of the actual
// level, in whole megabytes.
int64_t EstimatedTreeMegabytes(const SolverContext& context, int actualLevel);
// What the stores as set up will take, by the same estimate: the go check
// against the memory at hand.
int64_t StoreBytesNeeded(const SolverContext& context);
// Suits present on the tree's flop.
int FlopSuitCount(const SolverContext& context);
