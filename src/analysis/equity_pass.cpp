#include "analysis/equity_pass.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "analysis/deal_indexes.h"
#include "eval/rule_settings.h"
#include "setup/cards.h"
#include "solver/kernels/showdown_kernel.h"
#include "tree/solver_context.h"
#include "tree/board_tree.h"
#include "tree/isomorphism.h"

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
      : turnFactor_(1.0f / float(45 - 4 * lowCard)), riverFactor_(1.0f / float(44 - 4 * lowCard)) {
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

  // Step 1: the ranges in the tree's suits.
  std::vector<double> own(ownRange, ownRange + HandCount);
  std::vector<double> opp(oppRange, oppRange + HandCount);
  const bool isomorphism = (tree.flags & IsomorphismOnFlag) != 0;
  if (isomorphism) {
    PermuteRange(tree.clientFlop, deal.turnMask, deal.riverMask, own.data(), ownRange);
    PermuteRange(tree.clientFlop, deal.turnMask, deal.riverMask, opp.data(), oppRange);
  }

  // Step 2: both ranges as floats on the list in force. A weight that is
  // not a number (a hand no strategy row covers) plays no part.
  const BoardNode* list = DealListNode(tree, deal);
  const std::vector<uint16_t>& handCards = list ? list->handCards : boards.handCards;
  const int32_t hands = int32_t(handCards.size());
  const size_t count = static_cast<size_t>(hands);
  std::vector<int> combos(count);
  std::vector<float> ownWeights(count), oppWeights(count), sum(count);
  for (int32_t i = 0; i < hands; ++i) {
    const int combo = ComboIndexOf(handCards[size_t(i)] >> 8, handCards[size_t(i)] & 0xFF);
    combos[size_t(i)] = combo;
    const double o = own[size_t(combo)], b = opp[size_t(combo)];
    ownWeights[size_t(i)] = std::isnan(o) ? 0.0f : float(o);
    oppWeights[size_t(i)] = std::isnan(b) ? 0.0f : float(b);
  }

  // Step 3: the recursive sum from the board in force.
  EquitySum equitySum(hands);
  if (deal.river >= 0)
    equitySum.River(*list, oppWeights.data(), sum.data());
  else if (deal.turn >= 0)
    equitySum.Turn(*list, oppWeights.data(), sum.data());
  else
    equitySum.Flop(boards, oppWeights.data(), sum.data());

  // Step 4: the compatible opposing weight by inclusion and exclusion; no
  // hand but i itself holds both of i's cards.
  double total = 0.0;
  double cardSums[64] = {};
  for (int32_t j = 0; j < hands; ++j) {
    const double b = oppWeights[size_t(j)];
    total += b;
    cardSums[handCards[size_t(j)] & 0xFF] += b;
    cardSums[handCards[size_t(j)] >> 8] += b;
  }
  const double runouts = RunoutCount(deal, lowCard);
  std::vector<float> x(HandCount, float(NaN)), m(HandCount, float(NaN));
  for (int32_t i = 0; i < hands; ++i) {
    const uint16_t cards = handCards[size_t(i)];
    const double compatible = total - cardSums[cards & 0xFF] - cardSums[cards >> 8] + oppWeights[size_t(i)];
    const int combo = combos[size_t(i)];
    // Step 5 in the same loop: the list position goes to its combo.
    x[size_t(combo)] = compatible > 0.0 ? float(sum[size_t(i)] / compatible) : 0.0f;
    m[size_t(combo)] = float(runouts * compatible * ownWeights[size_t(i)]);
  }

  // Step 5: back to the client's suits.
  std::vector<double> xClient(HandCount), mClient(HandCount);
  if (isomorphism) {
    UnpermuteValues(tree.clientFlop, deal.turnMask, deal.riverMask, xClient.data(), x.data());
    UnpermuteValues(tree.clientFlop, deal.turnMask, deal.riverMask, mClient.data(), m.data());
  } else {
    std::copy(x.begin(), x.end(), xClient.begin());
    std::copy(m.begin(), m.end(), mClient.begin());
  }

  // Steps 6 and 7.
  const std::vector<double>& setRange = tree.comboWeights[size_t(player)];
  for (int c = 0; c < HandCount; ++c) {
    const bool excluded = !setRange.empty() && setRange[size_t(c)] == 0.0;
    outEquity[c] = excluded ? NaN : 0.5 * (1.0 + xClient[size_t(c)]);
    outMatchups[c] = excluded ? NaN : mClient[size_t(c)];
  }
}
