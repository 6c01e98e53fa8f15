#include "tree/tree_build.h"

#include <algorithm>
#include <bit>
#include <memory>

#include "setup/board.h"
#include "setup/failure.h"
#include "setup/ranges.h"
#include "storage/thread_scratch.h"
#include "tree/board_tree_build.h"
#include "tree/flatten.h"
#include "tree/global_context.h"
#include "tree/isomorphism.h"
#include "tree/node_list.h"
#include "tree/root_weights.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"
#include "tree/store_setup.h"

namespace {

int SingleCard(CardMask mask) { return mask ? std::countr_zero(mask) : -1; }

// The hands of the root board in the client's suits, with float weights as
// the tree will hold them. Suit maps keep pairs compatible and weights
// equal, so the joint total is the same as on the canonical lists; taking
// it here lets a build without compatible hands fail before the old tree
// goes.
double ClientJointTotal(const BoardCards& board, const std::array<std::vector<double>, 2>& ranges) {
  std::vector<CardMask> hands;
  std::vector<float> weights[2];
  const CardMask dead = board.All();
  for (int c = 0; c < HandCount; ++c) {
    if (ComboMask[size_t(c)] & dead) continue;
    if (!(ranges[0][size_t(c)] > 0.0 || ranges[1][size_t(c)] > 0.0)) continue;
    hands.push_back(ComboMask[size_t(c)]);
    for (int p = 0; p < 2; ++p) weights[p].push_back(float(ranges[size_t(p)][size_t(c)]));
  }
  return JointTotal(hands, weights[0].data(), weights[1].data());
}

// Building the boards, in three steps: the working ranges, the BoardTree,
// and the root's weights on the hand list of the root board.
void BuildBoards(SolverContext& context, const BuildInput& build, double jointTotal) {
  const BoardCards& board = build.board;
  const std::array<std::vector<double>, 2>& ranges = build.ranges;
  const bool isomorphism = build.isomorphism;

  context.clientFlop = board.flop;
  context.comboWeights = ranges;
  CardMask flop = board.flop, turn = board.turn, river = board.river;
  std::array<std::vector<double>, 2> working = ranges;
  if (isomorphism) {
    context.flags |= IsomorphismOnFlag;
    CanonicalizeBoard(flop, turn, river);
    for (int p = 0; p < 2; ++p)
      PermuteRange(board.flop, board.turn, board.river, working[size_t(p)].data(), ranges[size_t(p)].data());
  }
  for (int p = 0; p < 2; ++p)
    context.maxWeight[p] = *std::max_element(working[size_t(p)].begin(), working[size_t(p)].end());

  BoardTreeInput input;
  input.flop = flop;
  input.turn = SingleCard(turn);
  input.river = SingleCard(river);
  input.ranges = &working;
  input.lowCard = build.lowCard;
  input.isomorphism = isomorphism;
  input.threads = build.boardThreads;
  context.boardTree = BuildBoardTree(input);
  const BoardTree& boards = *context.boardTree;

  context.rootBoardMask = flop;
  context.fullBoardMask = flop | turn | river;
  const std::vector<CardMask>* rootHands = &boards.hands;
  if (turn) {
    context.rootTurn = boards.cardToTurn[size_t(input.turn)];
    const BoardNode& turnEntry = boards.turns[size_t(context.rootTurn)];
    rootHands = &turnEntry.hands;
    if (river) {
      context.rootRiver = turnEntry.cardToRiver[size_t(input.river)];
      rootHands = &turnEntry.rivers[size_t(context.rootRiver)].hands;
    }
  }

  const size_t count = rootHands->size();
  for (int p = 0; p < 2; ++p) {
    std::vector<float>& weights = context.rootWeights[size_t(p)];
    std::vector<float>& normalized = context.normWeights[size_t(p)];
    weights.resize(count);
    normalized.resize(count);
    for (size_t i = 0; i < count; ++i) {
      const CardMask hand = (*rootHands)[i];
      const int combo = ComboIndexOf(63 - std::countl_zero(hand), std::countr_zero(hand));
      weights[i] = float(working[size_t(p)][size_t(combo)]);
      normalized[i] = float(double(weights[i]) / jointTotal);
    }
  }
}

void MakeRiverLayouts(SolverContext& context) {
  context.shapes.clear();
  context.shapes.resize(size_t(context.maxChildren) + 1);
  for (int actions = 1; actions <= context.maxChildren; ++actions)
    context.shapes[size_t(actions)] =
        std::make_unique<RiverLayout>(MakeRiverLayout(actions, context.boardTree->riverHandCounts));
}

}  // namespace

int RootStreetOf(const BoardCards& board) { return 1 + (board.turn ? 1 : 0) + (board.river ? 1 : 0); }

void CheckSpotIsComplete(const BuildInput& input) {
  const BoardCards& board = input.board;
  const std::array<std::vector<double>, 2>& ranges = input.ranges;
  if (ranges[0].size() != HandCount || ranges[1].size() != HandCount) FailCommand("ranges not set");
  if (!RangesAreFinite(ranges)) FailCommand("ranges hold a weight that is not a finite number");
  // A board whose cards repeat (left by a refused set_board) is no board.
  const int expectedCards = 3 + (board.turn ? 1 : 0) + (board.river ? 1 : 0);
  if (std::popcount(board.flop) != 3 || board.CardCount() != expectedCards) FailCommand("board not set");
  if (input.trie->children.empty()) FailCommand("lines not set");
}

void BuildTree(const BuildInput& input) {
  CheckSpotIsComplete(input);
  const int rootStreet = input.rootStreet;

  // Isomorphism on the flop needs ranges alike in all suits.
  if (rootStreet == 1 && input.isomorphism) CheckRangeConsistency(input.board.flop, input.ranges);

  // Flatten; a line past the river fails while the old tree stands.
  const std::vector<FlatLine> lines = FlattenTrie(*input.trie, rootStreet, input.halfPot);
  if (HasLineBeyondRiver(lines)) FailCommand("invalid line");
  const double jointTotal = ClientJointTotal(input.board, input.ranges);
  if (jointTotal == 0.0) FailCommand("ranges have no compatible hands");

  // The new tree is made beside the old one, so that every failure up to
  // the store set-up leaves the old tree in place.
  auto context = std::make_unique<SolverContext>();
  context->rootStreet = rootStreet;
  context->effectiveStack = input.effectiveStack;
  context->lines = CopyTrie(*input.trie);
  context->potValues = input.potValues;
  BuildNodeList(*context, lines);
  BuildBoards(*context, input, jointTotal);
  MakeRiverLayouts(*context);

  FreeTree();
  GlobalContext = context.release();
  // The board becomes the tree's only with the tree: node paths read their
  // cards against it.
  TreeBoard = input.board;
  WriteTrieIndexes(lines);
}

void FreeTree() {
  delete GlobalContext;
  GlobalContext = nullptr;
  // The working blocks of the last run are sized for the old tree.
  DrainAllScratch();
}
