// TreeNode: one record of the flat node list the solver walks.
//
// One record per betting history, in depth-first order, element 0 the
// root; a river node stands for all its dealt boards at once, and its
// numbers for every board lie in its stores, addressed by (turn index,
// river index). There are no chance nodes: the walk supplies the card at a
// street boundary, and the first node of a street holds the chance records
// and, on the turn, one mutex per dealt turn.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "storage/float_vec.h"
#include "storage/strategy_store.h"
#include "tree/node_kind.h"

// Reach sums and stored values of one deal point.
struct ChanceRecord {
  FloatVec reachSum[2];
  FloatVec storedValueA[2];
  FloatVec storedValueB[2];
  uint8_t reachSumAbsent[2] = {0, 0};
  uint8_t frozen = 0;
  uint64_t resolvedCards = 0;
};

struct TreeNode {
  NodeKind kind = DecisionNode;
  int32_t parent = -1;
  int32_t player = 0;  // end nodes: the parent's player
  int32_t street = 1;  // 1 flop, 2 turn, 3 river; a showdown end is always 3
  double value = 0.0;  // end nodes: what the loser pays, from a half-way split of the pot
  std::vector<int32_t> children;
  TreeNode* parentNode = nullptr;
  std::unique_ptr<StrategyStore> store0;  // regrets
  std::unique_ptr<StrategyStore> store1;  // strategy sums
  float evBoost = 0.0f;
  uint8_t storesAllocated = 0;  // both stores have their memory
  uint8_t owning = 1;
  int32_t timeEstimate[2] = {-1, -1};
  std::unique_ptr<std::mutex[]> dealMutexes;  // first turn nodes: 49
  std::unique_ptr<ChanceRecord[]> chance;     // first turn node: 1; first river node: 49
  int32_t chanceCount = 0;

  bool IsEnd() const { return kind != DecisionNode; }
  int ActionCount() const { return int(children.size()); }
};

inline constexpr int DealSlots = 49;
