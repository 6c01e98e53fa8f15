// SolverContext: the one record of a built tree and its solver state.
//
// Made by a tree build, destroyed by free_tree or the next build, reached
// through GlobalContext. The betting lives in `nodes`, the cards in
// `boardTree`; with suit isomorphism both are in canonical suits, and the
// client's flop and ranges are kept beside them for the way back. What a
// single walk over the tree is doing is no part of it: that is the
// solver's Pass.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "setup/cards.h"
#include "storage/strategy_store.h"
#include "tree/board_tree.h"
#include "tree/tree_node.h"

inline constexpr uint32_t IncompleteTreeFlag = 1;
inline constexpr uint32_t IsomorphismOnFlag = 2;
inline constexpr uint32_t NewTreeFlag = 4;

struct SolverContext {
  std::vector<TreeNode> nodes;
  CardMask rootBoardMask = 0;  // the board at the root street, tree suits
  CardMask fullBoardMask = 0;  // with the fixed turn and river
  CardMask clientFlop = 0;     // the flop in the client's suits
  std::unique_ptr<BoardTree> boardTree;
  int32_t rootStreet = 1;
  int32_t rootTurn = -1;
  int32_t rootRiver = -1;
  std::array<std::vector<float>, 2> rootWeights;
  std::array<std::vector<float>, 2> normWeights;
  std::array<std::vector<double>, 2> comboWeights;  // 1326 by ComboIndex, client's suits
  std::vector<std::unique_ptr<RiverLayout>> shapes;  // by action count
  double maxWeight[2] = {0.0, 0.0};
  int32_t averaging = 1;
  // Element counts of the first stores per street (index 1..3) and the
  // byte estimates derived from them by the store set-up.
  int64_t elementCounts[4] = {0, 0, 0, 0};
  int64_t storeBytes[4] = {0, 0, 0, 0};
  int32_t maxChildren = 0;
  double meanChildren = 0.0;
  double maxPayoff = 0.0;
  double regretScale = 1.0;
  int32_t formatVersion = 10;
  int32_t storeLevels[2] = {0, 0};
  // Solver limits that go with the store levels.
  int32_t iterationCap = 9000;
  double strategyWeightExponent = 1.5;
  double strategyWeightCap = 262143.0;
  int32_t tieAveragingLimit = 0;
  int64_t effectiveStack = 0;
  uint8_t storesReady = 0;
  uint8_t averageRiverNow = 1;
  // Atomic because queries read it (the isomorphism bit, for the way to
  // and from the client's suits) without the pass mutex, while the solver
  // thread clears NEW_TREE after every iteration.
  std::atomic<uint32_t> flags{NewTreeFlag};
  int32_t iteration = 0;
  int32_t forgottenStreet = -1;
  int32_t resultsIteration = -1;
  double mesOop = 0.0, evOop = 0.0, mesIp = 0.0, evIp = 0.0, exploitability = 0.0, meanEv = 0.0;
};
