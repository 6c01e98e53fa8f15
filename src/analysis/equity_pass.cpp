#include "analysis/equity_pass.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "tree/deal_indexes.h"
#include "eval/runout_counts.h"
#include "setup/cards.h"
#include "setup/compatible_weight.h"
#include "solver/kernels/showdown_kernel.h"
#include "tree/solver_context.h"
#include "tree/board_tree.h"
#include "tree/client_combos.h"

namespace {

// Working arrays of one level of the recursion, sized once for the largest
// list of the level so that the deal loops allocate nothing.
struct LevelScratch {
  std::vector<float> in;
  std::vector<float> out;
};

// out[i] := sum over j compatible with i of in[j] * (+1 if i beats j, -1 if j
// beats i, 0 on a tie).
void RiverSum(const BoardNode& river, const float* in, float* out) {
  float* outs[1] = {out};
  const float* reaches[1] = {in};
  const float win = 1.0f;
  ShowdownKernel<1>(outs, reaches, river.HandCount(), river.tieRuns.data(), int(river.tieRuns.size()),
                    river.handCards.data(), &win, nullptr);
}

void Gather(float* __restrict out, const float* __restrict in, const uint16_t* index, int32_t count) {
  for (int32_t i = 0; i < count; ++i) out[i] = in[index[i]];
}

// Hands whose suit-exchanged image isn't in the parent's list have no place.
void ScatterAdd(float* __restrict acc, const float* __restrict v, const uint16_t* index, int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    if (index[i] != NoHand) acc[index[i]] += v[i];
}

void Scale(float* v, int32_t count, float factor) {
  for (int32_t i = 0; i < count; ++i) v[i] *= factor;
}

// One deal level: each child entry gathers `in`, runs `childSum`, and
// scatters its result back once per card it stands for.
template <class ChildSum>
void DealSum(const BoardNode* children, size_t childCount, int32_t hands, const float* in, float* out,
             LevelScratch& scratch, float factor, ChildSum childSum) {
  std::fill(out, out + hands, 0.0f);
  for (size_t c = 0; c < childCount; ++c) {
    const BoardNode& child = children[c];
    const int32_t childHands = child.HandCount();
    Gather(scratch.in.data(), in, child.parentIndex[0].data(), childHands);
    childSum(child, scratch.in.data(), scratch.out.data());
    for (int32_t k = 0; k < child.weight; ++k)
      ScatterAdd(out, scratch.out.data(), child.parentIndex[size_t(k)].data(), childHands);
  }
  Scale(out, hands, factor);
}

class EquitySum {
 public:
  explicit EquitySum(int32_t rootHands)
      : turnFactor_(1.0f / float(TurnCardCount())), riverFactor_(1.0f / float(RiverCardCount())) {
    // A child list is never longer than its parent's.
    for (LevelScratch* level : {&turnLevel_, &riverLevel_}) {
      level->in.resize(size_t(rootHands));
      level->out.resize(size_t(rootHands));
    }
  }

  void River(const BoardNode& river, const float* in, float* out) { RiverSum(river, in, out); }

  void Turn(const BoardNode& turn, const float* in, float* out) {
    DealSum(turn.rivers.data(), turn.rivers.size(), turn.HandCount(), in, out, riverLevel_, riverFactor_,
            [this](const BoardNode& river, const float* i, float* o) { River(river, i, o); });
  }

  void Flop(const BoardTree& boards, const float* in, float* out) {
    DealSum(boards.turns.data(), boards.turns.size(), int32_t(boards.hands.size()), in, out, turnLevel_,
            turnFactor_, [this](const BoardNode& turn, const float* i, float* o) { Turn(turn, i, o); });
  }

 private:
  float turnFactor_, riverFactor_;
  LevelScratch turnLevel_, riverLevel_;
};

}  // namespace

void EquityPass(const SolverContext& tree, int player, int turnCard, int riverCard, const double* ownRange,
                const double* oppRange, double* outEquity, double* outMatchups) {
  const BoardTree& boards = *tree.boardTree;
  const DealIndexes deal = FindDeal(tree, turnCard, riverCard);
  constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
  if (deal.unknownCard) {
    std::fill(outEquity, outEquity + HandCount, NaN);
    std::fill(outMatchups, outMatchups + HandCount, NaN);
    return;
  }

  // Both ranges as floats on the list in force, in the tree's suits. A
  // weight that is not a number (a hand no strategy row covers) plays no
  // part.
  const BoardNode* list = DealListNode(tree, deal);
  const std::vector<uint16_t>& handCards = list ? list->handCards : boards.handCards;
  const int32_t hands = int32_t(handCards.size());
  std::vector<float> ownWeights = ListRowFromClient(tree, deal, ownRange);
  std::vector<float> oppWeights = ListRowFromClient(tree, deal, oppRange);
  for (std::vector<float>* weights : {&ownWeights, &oppWeights})
    for (float& w : *weights)
      if (std::isnan(w)) w = 0.0f;
  std::vector<float> sum(static_cast<size_t>(hands));

  // The recursive sum from the board in force.
  EquitySum equitySum(hands);
  if (deal.river >= 0)
    equitySum.River(*list, oppWeights.data(), sum.data());
  else if (deal.turn >= 0)
    equitySum.Turn(*list, oppWeights.data(), sum.data());
  else
    equitySum.Flop(boards, oppWeights.data(), sum.data());

  // The opposing weight each hand can meet, then each hand's equity and
  // matchups, brought to the client's combos.
  CompatibleWeight opponent;
  for (int32_t j = 0; j < hands; ++j) opponent.Add(handCards[size_t(j)], double(oppWeights[size_t(j)]));
  const double runouts = RunoutCount(deal.turn, deal.river);
  std::vector<float> x(static_cast<size_t>(hands)), m(static_cast<size_t>(hands));
  for (int32_t i = 0; i < hands; ++i) {
    const double compatible = opponent.Of(handCards[size_t(i)], double(oppWeights[size_t(i)]));
    x[size_t(i)] = compatible > 0.0 ? float(sum[size_t(i)] / compatible) : 0.0f;
    m[size_t(i)] = float(runouts * compatible * ownWeights[size_t(i)]);
  }
  std::vector<double> xClient(HandCount), mClient(HandCount);
  ListRowToClient(tree, deal, x.data(), xClient.data());
  ListRowToClient(tree, deal, m.data(), mClient.data());

  // Equity from the sum of wins less losses; hands out of the range as set
  // have neither.
  const std::vector<double>& setRange = tree.comboWeights[size_t(player)];
  for (int c = 0; c < HandCount; ++c) {
    const bool excluded = !setRange.empty() && setRange[size_t(c)] == 0.0;
    outEquity[c] = excluded ? NaN : 0.5 * (1.0 + xClient[size_t(c)]);
    outMatchups[c] = excluded ? NaN : mClient[size_t(c)];
  }
}
