#include "analysis/node_ev.h"
#include "analysis/reach_walk.h"
#include "tree/tree_walk.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "tree/deal_indexes.h"
#include "eval/rule_settings.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/failure.h"
#include "solver/jobs.h"
#include "solver/node_query.h"
#include "solver/river_rows_guard.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "solver/strategy_rules.h"
#include "solver/subgame.h"
#include "storage/thread_scratch.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "tree/client_combos.h"

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// The river rows a query on this deal must open itself, as the tree turn
// to open or -1: only a flop tree packs them per turn, and a target before
// its river card reaches them through the river deal, which opens them.
int TurnToOpen(const SolverContext& context, int turn, int river) {
  return context.rootStreet == 1 && river >= 0 ? turn : -1;
}

// A decision above the target on a street whose card isn't given has no
// board to read its strategy on.
void CheckLineHasCards(const SolverContext& context, const std::vector<int>& line, int turn, int river) {
  for (size_t k = 0; k + 1 < line.size(); ++k) {
    const int street = context.nodes[size_t(line[k])].street;
    if ((street >= 2 && turn < 0) || (street == 3 && river < 0)) FailCommand("incorrect path");
  }
}

// A query's result on the hand list of the board it ended on.
struct Captured {
  int turn = -1;
  int river = -1;
  std::vector<float> ev;
  std::vector<float> matchups;
};

void FillFrame(TraversalFrame& frame, SolverContext& context, TreeNode& node, int turn, int river,
               const std::vector<float>& reachA, const std::vector<float>& reachB) {
  frame.context = &context;
  frame.node = &node;
  frame.turn = turn;
  frame.river = river;
  ResizeVector(frame.reachA, int32_t(reachA.size()), true);
  std::copy(reachA.begin(), reachA.end(), frame.reachA.data);
  ResizeVector(frame.reachB, int32_t(reachB.size()), true);
  std::copy(reachB.begin(), reachB.end(), frame.reachB.data);
}

// The reach walk and the query pass for one deal (tree indexes). The pass
// mutex is held and the river rows are open.
Captured QueryPass(SolverContext& context, int player, const std::vector<int>& line, int dealTurn, int dealRiver) {
  Pass pass = StartPass(context, TraversalMode::NodeQuery, player);
  const LineReach walk = WalkReach(context, pass, line, dealTurn, dealRiver);
  const std::vector<float>* reach = walk.reach;
  const int turn = walk.turn, river = walk.river;

  TreeNode& target = context.nodes[size_t(line.back())];
  NodeQuery query;
  query.node = &target;
  query.turn = turn;
  query.river = river;
  pass.query = &query;
  EnsureThreadScratch(context.boardTree->hands.size());
  {
    PoolScope pool(OwnPool());
    const std::vector<float>& reachOpp = reach[size_t(player ^ 1)];
    const std::vector<float>& reachSelf = reach[size_t(player)];
    // Jobs come only from a first deal below the target: a turn on a flop
    // tree, a river on a turn tree.
    const bool deals = (turn < 0 && context.rootStreet == 1) || (river < 0 && context.rootStreet == 2);
    TraversalFrame ascend;
    RunThreePhases(context, pass, deals,
                   [&](TraversalFrame& frame) {
                     FillFrame(frame, context, target, turn, river, reachOpp, reachSelf);
                     frame.pass = &pass;
                   },
                   ascend);
  }

  Captured result;
  result.turn = turn;
  result.river = river;
  const int32_t hands = ListHandCount(context, turn, river);
  result.ev.assign(size_t(hands), 0.0f);
  result.matchups.assign(size_t(hands), 0.0f);
  if (query.captured) {
    std::copy(query.ev.data, query.ev.data + hands, result.ev.begin());
    std::copy(query.matchups.data, query.matchups.data + hands, result.matchups.begin());
  }
  return result;
}

// From the hand list onto 1326 combos in the client's suits.
void Spread(const SolverContext& context, const Captured& captured, const DealIndexes& deal, double* outEv,
            double* outMatchups) {
  DealIndexes list = deal;
  list.turn = captured.turn;
  list.river = captured.river;
  ListRowToClient(context, list, captured.ev.data(), outEv);
  ListRowToClient(context, list, captured.matchups.data(), outMatchups);
}

// Hands the player's range as set leaves out are not his to value.
void BlankUnplayedHands(const SolverContext& context, int player, double* ev, double* matchups) {
  const std::vector<double>& range = context.comboWeights[size_t(player)];
  if (range.size() != size_t(HandCount)) return;
  for (int c = 0; c < HandCount; ++c)
    if (range[size_t(c)] == 0.0) ev[c] = matchups[c] = NaN;
}

// On a tree with forgotten streets the query copies the values the last
// evaluation stored at the deal points, so that evaluation must be of the
// current iteration. A complete tree stores nothing the query reads.
void RefreshStoredValues(SolverContext& context) {
  if ((context.flags & IncompleteTreeFlag) && context.resultsIteration != context.iteration) CalcResults(context);
}

// The tree's index of the turn and river a deal names, the tree's own
// cards where the tree starts later.
std::pair<int, int> TreeDeal(const SolverContext& context, const DealIndexes& deal) {
  return {deal.turn >= 0 ? deal.turn : context.rootTurn, deal.river >= 0 ? deal.river : context.rootRiver};
}

// A query walks the target's subtree: every forgotten board it reaches,
// the target's own and the rivers below a turn target, is solved first.
// False where a board can't be walked for want of memory.
bool BringBackForQuery(SolverContext& context, TreeNode& target, int turn, int river) {
  const bool own = BringBackSubgame(context, target, turn, river, true);
  return BringBackRiversBelow(context, target, turn, river) && own;
}

// Cards that can come on a later street: not on the built board, not
// below the deck's low card, not already dealt.
std::vector<int> DealableCards(CardMask dealt) {
  std::vector<int> cards;
  const CardMask board = TreeBoard.All() | dealt;
  for (int c = 0; c < 52; ++c)
    if (!(board & CardBit(c)) && RankOf(c) >= lowCard) cards.push_back(c);
  return cards;
}

}  // namespace

void NodeEv(int player, int nodeIndex, int turnCard, int riverCard, double* outEv, double* outMatchups) {
  SolverContext& context = *GlobalContext;
  std::fill(outEv, outEv + HandCount, NaN);
  std::fill(outMatchups, outMatchups + HandCount, NaN);
  const std::vector<int> line = LineFromRoot(context, nodeIndex);
  const DealIndexes deal = FindDeal(context, turnCard, riverCard);
  if (deal.unknownCard) return;
  const auto [turn, river] = TreeDeal(context, deal);
  CheckLineHasCards(context, line, turn, river);
  RefreshStoredValues(context);
  if (!BringBackForQuery(context, context.nodes[size_t(nodeIndex)], turn, river)) return;

  std::lock_guard<std::mutex> passLock(PassMutex);
  Captured captured;
  {
    RiverRowsGuard rows(context, context.nodes[size_t(nodeIndex)], TurnToOpen(context, turn, river));
    captured = QueryPass(context, player, line, turn, river);
  }
  Spread(context, captured, deal, outEv, outMatchups);
  BlankUnplayedHands(context, player, outEv, outMatchups);
}

void NodeEvOverDeals(int player, int nodeIndex, int turnCard, int riverCard, double* outEv, double* outMatchups) {
  SolverContext& context = *GlobalContext;
  const std::vector<int> line = LineFromRoot(context, nodeIndex);
  const int street = context.nodes[size_t(nodeIndex)].street;
  std::vector<int> turns = {turnCard};
  if (turnCard < 0 && street >= 2 && context.rootStreet == 1) turns = DealableCards(0);
  const bool dealRivers = riverCard < 0 && street == 3 && context.rootStreet <= 2;

  RefreshStoredValues(context);
  std::vector<double> weighted(HandCount, 0.0), total(HandCount, 0.0), plain(HandCount, 0.0);
  std::vector<int> seen(HandCount, 0);
  std::vector<double> ev(HandCount), matchups(HandCount);
  {
    std::unique_lock<std::mutex> passLock(PassMutex);
    // Deals that suit isomorphism maps onto the same entries walk once.
    std::map<std::pair<int, int>, Captured> walked;
    for (int turnPick : turns) {
      const CardMask turnMask = turnPick >= 0 ? CardBit(turnPick) : 0;
      std::vector<int> rivers = {riverCard};
      if (dealRivers) rivers = DealableCards(turnMask);
      const DealIndexes turnDeal = FindDeal(context, turnPick, -1);
      if (turnDeal.unknownCard) continue;
      const int treeTurn = TreeDeal(context, turnDeal).first;
      if (context.flags & IncompleteTreeFlag) {
        // Solving a forgotten board takes the pass mutex itself.
        passLock.unlock();
        for (int riverPick : rivers) {
          const DealIndexes deal = FindDeal(context, turnPick, riverPick);
          if (deal.unknownCard) continue;
          const auto [turn, river] = TreeDeal(context, deal);
          if (!BringBackForQuery(context, context.nodes[size_t(nodeIndex)], turn, river))
            FailCommand("out of memory");
        }
        passLock.lock();
      }
      const int openRiver = rivers.front() >= 0 ? 0 : -1;
      RiverRowsGuard rows(context, context.nodes[size_t(nodeIndex)], TurnToOpen(context, treeTurn, openRiver));
      for (int riverPick : rivers) {
        const DealIndexes deal = FindDeal(context, turnPick, riverPick);
        if (deal.unknownCard) continue;
        const std::pair<int, int> key = TreeDeal(context, deal);
        CheckLineHasCards(context, line, key.first, key.second);
        auto found = walked.find(key);
        if (found == walked.end())
          found = walked.emplace(key, QueryPass(context, player, line, key.first, key.second)).first;
        Spread(context, found->second, deal, ev.data(), matchups.data());
        for (int c = 0; c < HandCount; ++c) {
          if (std::isnan(ev[size_t(c)])) continue;
          seen[size_t(c)] += 1;
          plain[size_t(c)] += ev[size_t(c)];
          weighted[size_t(c)] += matchups[size_t(c)] * ev[size_t(c)];
          total[size_t(c)] += matchups[size_t(c)];
        }
      }
    }
  }
  for (int c = 0; c < HandCount; ++c) {
    if (!seen[size_t(c)]) {
      outEv[c] = outMatchups[c] = NaN;
      continue;
    }
    // A hand the player never brings down the line has no weight to
    // average by; every deal then counts alike, so that a line of one
    // deal answers as that place does.
    outEv[c] = total[size_t(c)] > 0.0 ? weighted[size_t(c)] / total[size_t(c)] : plain[size_t(c)] / seen[size_t(c)];
    outMatchups[c] = total[size_t(c)];
  }
  BlankUnplayedHands(context, player, outEv, outMatchups);
}
