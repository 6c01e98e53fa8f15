// SolverContext: the one record of a built tree and its solver state.
//
// Made by a tree build, destroyed by free_tree or the next build, reached
// through GlobalContext. The betting lives in `nodes`, the cards in
// `boardTree`; with suit isomorphism both are in canonical suits, and the
// client's flop and ranges are kept beside them for the way back.
//
// Two kinds of data share the record, and each has its own type so that a
// reader can tell which a field is: BuiltTree, what the build (and the
// store set-up) made and a solve does not change, and SolverRunState,
// where the solver's run stands. SolverContext joins them rather than
// nesting them, so that the whole system keeps writing `context.nodes` and
// `context.iteration`. What a single walk over the tree is doing (mode,
// phase, traverser, jobs) is no part of either: that is the solver's Pass.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "setup/cards.h"
#include "tree/schematic_tree.h"
#include "storage/strategy_store.h"
#include "tree/board_tree.h"
#include "tree/tree_node.h"

inline constexpr uint32_t IncompleteTreeFlag = 1;
inline constexpr uint32_t IsomorphismOnFlag = 2;
inline constexpr uint32_t NewTreeFlag = 4;

// What the build made: the tree, its boards and weights, and the stores'
// shape. Written by the build and the store set-up only.
struct BuiltTree {
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
  // The lines and pot the tree was built from, kept for the tree file:
  // line edits and set_pot after a build don't reach the tree.
  std::unique_ptr<SchematicNode> lines;
  std::array<double, 3> potValues = {0.0, 0.0, 0.0};
  // Loaded from a file that held no chance record values.
  uint8_t valueless = 0;
  double maxWeight[2] = {0.0, 0.0};
  // Element counts of the first stores per street (index 1..3) and the
  // byte estimates derived from them by the store set-up.
  int64_t elementCounts[4] = {0, 0, 0, 0};
  int64_t storeBytes[4] = {0, 0, 0, 0};
  int32_t maxChildren = 0;
  double meanChildren = 0.0;
  double maxPayoff = 0.0;
  int32_t formatVersion = 10;
  int32_t storeLevels[2] = {0, 0};
  // How the average strategy is kept: 0 not at all (no strategy-sum
  // stores), 1 from iteration 61 with growing weights, else plain sums.
  int32_t averaging = 1;
  int64_t effectiveStack = 0;
  // Atomic because queries read it (the isomorphism bit, for the way to
  // and from the client's suits) without the pass mutex, while the solver
  // thread clears NEW_TREE after every iteration.
  std::atomic<uint32_t> flags{NewTreeFlag};
};

// Where the solver's run stands: its iteration, the limits the store
// set-up chose with the store levels, and the results of the last
// measurement. The store set-up resets it; the solver writes it between
// passes, under the pass mutex.
struct SolverRunState {
  // Solver limits that go with the store levels.
  double regretScale = 1.0;
  int32_t iterationCap = 9000;
  double strategyWeightExponent = 1.5;
  double strategyWeightCap = 262143.0;
  int32_t tieAveragingLimit = 0;
  uint8_t storesReady = 0;
  // Whether this iteration adds river strategy sums.
  uint8_t averageRiverNow = 1;
  int32_t iteration = 0;
  int32_t forgottenStreet = -1;
  int32_t resultsIteration = -1;
  double mesOop = 0.0, evOop = 0.0, mesIp = 0.0, evIp = 0.0, exploitability = 0.0, meanEv = 0.0;
};

struct SolverContext : BuiltTree, SolverRunState {};
