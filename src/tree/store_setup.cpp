#include "tree/store_setup.h"

#include <bit>
#include <cmath>
#include <cstdio>

#include "setup/settings.h"
#include "storage/flop_store.h"
#include "storage/physical_memory.h"
#include "storage/river_compressed_store.h"
#include "storage/river_float_store.h"
#include "storage/river_shift_sum_store.h"
#include "storage/river_sum_store.h"
#include "storage/river_u16_store.h"
#include "storage/turn_store.h"
#include "tree/solver_context.h"

namespace {

constexpr const char* LevelWords[] = {"auto", "none", "low", "medium", "high", "max", "fast"};
constexpr StoreLevelPair LevelPairs[] = {{0, 0}, {0, 1}, {1, 1}, {1, 2}, {2, 2}, {0, 3}};

// Rows: one, two, three suits on the flop. Columns: levels 0 to 5.
constexpr double RatioTable[3][6] = {
    {1.0, 0.54, 0.41, 0.35, 0.25, 0.68},
    {1.0, 0.53, 0.39, 0.33, 0.25, 0.68},
    {1.0, 0.51, 0.36, 0.32, 0.24, 0.68},
};

// Trees of a format below 10 were written before the shift-sum store.
constexpr int ShiftSumFormatVersion = 10;
constexpr int RiverFloatTurnFormatVersion = 5;

bool KeepsSecondStore(const SolverContext& context) { return context.averaging != 0; }

std::unique_ptr<StrategyStore> MakeFirstRiverStore(const SolverContext& context, const RiverLayout* layout) {
  const int rootStreet = context.rootStreet;
  if (rootStreet == 3 || (rootStreet == 2 && context.formatVersion >= RiverFloatTurnFormatVersion))
    return std::make_unique<RiverFloatStore>(layout);
  const int a = context.storeLevels[0];
  if (a != 0) return std::make_unique<RiverCompressedStore>(layout, uint32_t(a), RiverCompressedStore::Form::Regret);
  return std::make_unique<RiverU16Store>(layout);
}

std::unique_ptr<StrategyStore> MakeSecondRiverStore(const SolverContext& context, const RiverLayout* layout) {
  const int b = context.storeLevels[1];
  if (b == 0) return std::make_unique<RiverFloatStore>(layout);
  if (b == 1 || b == 2)
    return std::make_unique<RiverCompressedStore>(layout, uint32_t(b),
                                                  context.formatVersion >= ShiftSumFormatVersion
                                                      ? RiverCompressedStore::Form::ShiftedSum
                                                      : RiverCompressedStore::Form::PlainSum);
  if (context.rootStreet != 1) return std::make_unique<RiverFloatStore>(layout);
  if (context.formatVersion < ShiftSumFormatVersion) return std::make_unique<RiverSumStore>(layout);
  return std::make_unique<RiverShiftSumStore>(layout);
}

}  // namespace

const char* CompressionWord(int level) {
  if (level < MinCompressionLevel || level > MaxCompressionLevel) return "?";
  return LevelWords[level + 1];
}

StoreLevelPair LevelPair(int level) {
  if (level < 0 || level > MaxCompressionLevel) return LevelPairs[0];
  return LevelPairs[level];
}

double CompressionRatio(int flopSuits, int level) {
  if (level < 0 || level > MaxCompressionLevel) return 1.0;
  const int row = flopSuits < 1 ? 0 : flopSuits > 3 ? 2 : flopSuits - 1;
  return RatioTable[row][level];
}

int ResolveAutoLevel(int64_t bytes, int64_t budget, int flopSuits) {
  // A spot that fits uncompressed gets "fast", not "none": its strategy sums
  // take a third less and cost no time to decode.
  if (bytes < budget) return FastCompression;
  for (int level = 1; level <= 3; ++level)
    if (double(budget) > double(bytes) * CompressionRatio(flopSuits, level)) return level;
  return 4;
}

void BuildStores(SolverContext& context, TreeNode& node) {
  node.store0.reset();
  node.store1.reset();
  node.storesAllocated = 0;
  const int actions = node.ActionCount();
  const bool second = KeepsSecondStore(context);
  const BoardTree& boards = *context.boardTree;
  switch (node.street) {
    case 1:
      node.store0 = std::make_unique<FlopStore>(actions, int(boards.hands.size()));
      if (second) node.store1 = std::make_unique<FlopStore>(actions, int(boards.hands.size()));
      break;
    case 2:
      node.store0 = std::make_unique<TurnStore>(actions, boards.turnHandCounts);
      if (second) node.store1 = std::make_unique<TurnStore>(actions, boards.turnHandCounts);
      break;
    default: {
      const RiverLayout* layout = context.shapes[size_t(actions)].get();
      node.store0 = MakeFirstRiverStore(context, layout);
      if (second && RiverStrategyOn) node.store1 = MakeSecondRiverStore(context, layout);
      break;
    }
  }
  context.elementCounts[node.street] += node.store0->EntryCount(-1);
}

void DropNodeStores(TreeNode& node) {
  node.store0.reset();
  node.store1.reset();
  node.storesAllocated = 0;
  for (int r = 0; r < node.chanceCount; ++r) node.chance[size_t(r)].resolvedCards = 0;
}

void SetUpStores(SolverContext& context, int a, int b) {
  // Only flop trees compress; later roots keep float rivers. The solver
  // limits that go with the levels are the solver's to set.
  context.storeLevels[0] = context.rootStreet == 1 ? a : 0;
  context.storeLevels[1] = context.rootStreet == 1 ? b : 0;

  // A tree whose every end pays 0 has no scale to set; it takes that of
  // a payoff of one chip rather than an infinite one.
  const double payoff = context.maxPayoff > 0.0 ? context.maxPayoff : 1.0;
  context.regretScale = std::exp2(PrecisionExponent) * 125.0 / payoff;

  // The stores. What the old ones held is gone, and with it the run; the
  // measurements of that run are the solver's to forget.
  for (int64_t& count : context.elementCounts) count = 0;
  for (TreeNode& node : context.nodes) {
    if (node.IsEnd()) continue;
    if ((context.flags & IncompleteTreeFlag) && context.forgottenStreet >= 0 && node.street >= context.forgottenStreet) {
      // Boards solved on demand were solved in the old stores: they go, and
      // a query solves them again in stores of the new level.
      DropNodeStores(node);
      continue;
    }
    BuildStores(context, node);
  }
  context.storesReady = 0;
  context.iteration = 0;
  context.resultsIteration = -1;

  // Byte estimates: 2 bytes of regret per element, and 4 of strategy sum
  // where the tree keeps one.
  const int64_t bytesPerElement = KeepsSecondStore(context) ? 6 : 2;
  for (int street = 0; street < 4; ++street) context.storeBytes[street] = context.elementCounts[street] * bytesPerElement;
}

void ApplyCompression(SolverContext& context, int level, int64_t& countedBytes) {
  countedBytes = -1;
  if (level == AutoCompression) {
    SetUpStores(context, 0, 0);  // only to count
    const int64_t bytes = UncompressedStoreBytes(context);
    countedBytes = bytes;
    const PhysicalMemory memory = ReadPhysicalMemory();
    const int64_t budget = int64_t(0.9 * double(memory.available));
    level = ResolveAutoLevel(bytes, budget, FlopSuitCount(context));
  }
  const StoreLevelPair pair = LevelPair(level);
  ActualCompression = level;
  SetUpStores(context, pair.regret, pair.sum);
}

int64_t UncompressedStoreBytes(const SolverContext& context) {
  return context.storeBytes[1] + context.storeBytes[2] + context.storeBytes[3];
}

int64_t EstimatedTreeMegabytes(const SolverContext& context, int actualLevel) {
  const double ratio = CompressionRatio(FlopSuitCount(context), actualLevel);
  return int64_t(double(UncompressedStoreBytes(context)) * ratio / 1024.0 / 1024.0);
}

int64_t StoreBytesNeeded(const SolverContext& context) {
  int level = -1;
  for (int l = 0; l <= MaxCompressionLevel; ++l)
    if (LevelPairs[l].regret == context.storeLevels[0] && LevelPairs[l].sum == context.storeLevels[1]) level = l;
  // Trees rooted later keep float rivers: 4 bytes of regret and 4 of sum
  // where the estimate counts 2 and 4.
  if (context.rootStreet != 1) return UncompressedStoreBytes(context) / 6 * 8;
  return int64_t(double(UncompressedStoreBytes(context)) * CompressionRatio(FlopSuitCount(context), level));
}

int FlopSuitCount(const SolverContext& context) {
  const CardMask flop = context.boardTree ? context.boardTree->board : 0;
  int suits = 0;
  for (int suit = 0; suit < 4; ++suit) suits += (flop >> (13 * suit) & 0x1FFF) != 0;
  return suits;
}
