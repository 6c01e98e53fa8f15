// The terminal kernels against the definition: for each hand, the sum over
// the opponent hands sharing no card with it, written as the plain O(n^2)
// double loop in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "eval/evaluate_cards.h"
#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "solver/kernels/fold_kernel.h"
#include "solver/kernels/lane_groups.h"
#include "solver/kernels/pair_kernel.h"
#include "solver/kernels/showdown_kernel.h"

namespace {

// A river hand list as the tree builds one: hands off the board, sorted by
// strength, with the tie runs of equal strength.
struct RiverList {
  std::vector<uint16_t> handCards;
  std::vector<uint32_t> strengths;
  std::vector<uint16_t> tieRuns;
  int Size() const { return int(handCards.size()); }
};

int Lo(uint16_t cards) { return cards & 0xFF; }
int Hi(uint16_t cards) { return cards >> 8; }
bool Clash(uint16_t a, uint16_t b) {
  return Lo(a) == Lo(b) || Lo(a) == Hi(b) || Hi(a) == Lo(b) || Hi(a) == Hi(b);
}

// `count` hands (all 1081 when count is -1) picked at random off `board`.
RiverList MakeRiverList(const std::vector<int>& board, int count, std::mt19937& rng) {
  std::vector<uint16_t> pool;
  for (int hi = 0; hi < 52; ++hi)
    for (int lo = 0; lo < hi; ++lo)
      if (std::find(board.begin(), board.end(), hi) == board.end() &&
          std::find(board.begin(), board.end(), lo) == board.end())
        pool.push_back(uint16_t(lo | hi << 8));
  std::shuffle(pool.begin(), pool.end(), rng);
  if (count >= 0) pool.resize(count);
  std::vector<std::pair<uint32_t, uint16_t>> valued;
  for (uint16_t cards : pool) {
    int seven[7] = {board[0], board[1], board[2], board[3], board[4], Lo(cards), Hi(cards)};
    valued.push_back({EvaluateCards(seven, 7), cards});
  }
  std::stable_sort(valued.begin(), valued.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  RiverList list;
  for (const auto& [value, cards] : valued) {
    if (list.strengths.empty() || value != list.strengths.back()) list.tieRuns.push_back(0);
    ++list.tieRuns.back();
    list.strengths.push_back(value);
    list.handCards.push_back(cards);
  }
  return list;
}

std::vector<int> RandomBoard(std::mt19937& rng) {
  std::vector<int> deck(52);
  for (int c = 0; c < 52; ++c) deck[c] = c;
  std::shuffle(deck.begin(), deck.end(), rng);
  return {deck.begin(), deck.begin() + 5};
}

// Uniform reaches in (0, 1] with about zeroShare of them 0.
std::vector<float> RandomReach(int n, double zeroShare, std::mt19937& rng) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<float> reach(n);
  for (float& r : reach) r = unit(rng) < zeroShare ? 0.0f : float(1.0 - unit(rng));
  return reach;
}

// The reference value of each hand, and the sum of |terms| that sets the
// tolerance: a fold counts every non-clashing hand, a showdown signs it
// by the strength comparison.
struct Reference {
  std::vector<double> value;
  double scale = 0.0;
};

Reference ReferenceValues(const RiverList& list, const std::vector<float>& reach, float payoff, bool showdown) {
  Reference ref;
  ref.value.assign(list.Size(), 0.0);
  for (int j = 0; j < list.Size(); ++j) ref.scale += std::fabs(double(payoff) * reach[j]);
  for (int i = 0; i < list.Size(); ++i)
    for (int j = 0; j < list.Size(); ++j) {
      if (Clash(list.handCards[i], list.handCards[j])) continue;
      const double term = double(payoff) * reach[j];
      if (!showdown)
        ref.value[i] += term;
      else if (list.strengths[i] > list.strengths[j])
        ref.value[i] += term;
      else if (list.strengths[i] < list.strengths[j])
        ref.value[i] -= term;
    }
  return ref;
}

void ExpectNear(const std::vector<float>& out, const Reference& ref, const char* what) {
  ASSERT_EQ(out.size(), ref.value.size());
  const double tolerance = 1e-4 * ref.scale;
  for (size_t i = 0; i < out.size(); ++i) {
    ASSERT_LE(std::fabs(out[i] - ref.value[i]), tolerance) << what << " hand " << i << " of " << out.size();
  }
}

// The activeMask of a set of lane reaches: per group of up to 16 hands a
// bit per hand with reach above 0 in any lane, for a larger group 1 when
// any hand has. `extraBits` also sets the bits of hands with zero reach.
std::vector<uint16_t> MaskOf(const RiverList& list, const std::vector<std::vector<float>>& reaches,
                             bool extraBits) {
  std::vector<uint16_t> mask;
  int first = 0;
  for (uint16_t size : list.tieRuns) {
    uint16_t word = 0;
    for (int k = 0; k < size; ++k) {
      bool live = extraBits && k % 3 == 0;
      for (const auto& reach : reaches) live = live || reach[first + k] > 0.0f;
      if (live) word = uint16_t(word | (size <= 16 ? 1u << k : 1u));
    }
    mask.push_back(word);
    first += size;
  }
  return mask;
}

// Runs one lane form into fresh outputs: a showdown with its mask, or a
// fold, which takes none.
template <int L>
void RunKernel(std::vector<std::vector<float>>& outs, const std::vector<std::vector<float>>& reaches,
               const RiverList& list, const std::vector<float>& payoffs, const uint16_t* mask,
               bool showdown = true) {
  float* outPointers[L];
  const float* reachPointers[L];
  for (int l = 0; l < L; ++l) {
    outs[l].assign(list.Size(), std::numeric_limits<float>::quiet_NaN());
    outPointers[l] = outs[l].data();
    reachPointers[l] = reaches[l].data();
  }
  if (!showdown) {
    FoldKernel<L>(outPointers, reachPointers, list.Size(), list.handCards.data(), payoffs.data());
  } else {
    ShowdownKernel<L>(outPointers, reachPointers, list.Size(), list.tieRuns.data(), int(list.tieRuns.size()),
                      list.handCards.data(), payoffs.data(), mask);
  }
}

// One lane form on one list: random reaches (one lane all zero when
// `deadLane`, to see it gets exact zeros beside live lanes), random
// payoffs; a showdown with and without the mask, or a fold.
template <int L>
void CheckLanes(const RiverList& list, std::mt19937& rng, double zeroShare, bool deadLane, bool showdown) {
  std::uniform_real_distribution<float> payoffDist(-5.0f, 5.0f);
  std::vector<std::vector<float>> reaches(L), outs(L);
  std::vector<float> payoffs(L);
  for (int l = 0; l < L; ++l) {
    reaches[l] = RandomReach(list.Size(), zeroShare, rng);
    payoffs[l] = payoffDist(rng);
  }
  if (deadLane) std::fill(reaches[L - 1].begin(), reaches[L - 1].end(), 0.0f);
  const std::vector<uint16_t> exactMask = MaskOf(list, reaches, false);
  const std::vector<uint16_t> wideMask = MaskOf(list, reaches, true);
  const std::vector<const uint16_t*> masks =
      showdown ? std::vector<const uint16_t*>{nullptr, exactMask.data(), wideMask.data()}
               : std::vector<const uint16_t*>{nullptr};
  for (const uint16_t* mask : masks) {
    RunKernel<L>(outs, reaches, list, payoffs, mask, showdown);
    for (int l = 0; l < L; ++l) {
      SCOPED_TRACE(::testing::Message() << (showdown ? "showdown" : "fold") << " L=" << L << " lane " << l
                                        << " n=" << list.Size() << (mask ? " masked" : ""));
      ExpectNear(outs[l], ReferenceValues(list, reaches[l], payoffs[l], showdown), "lanes");
      if (deadLane && l == L - 1) {
        for (float v : outs[l]) ASSERT_EQ(v, 0.0f);
      }
    }
  }
}

// CheckLanes for each lane form in turn; a single lane has no live lane
// beside it to be dead next to.
template <int... L>
void CheckEachLaneForm(const RiverList& list, std::mt19937& rng, double zeroShare, bool deadLane, bool showdown) {
  (CheckLanes<L>(list, rng, zeroShare, L > 1 && deadLane, showdown), ...);
}

class KernelsTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { InitHandTables(); }
};

TEST_F(KernelsTest, EveryLaneFormMatchesTheDoubleLoop) {
  std::mt19937 rng(20240611);
  // Sizes around every lane width, and the full list of a river board.
  for (int count : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 40, 300, -1}) {
    for (double zeroShare : {0.0, 0.3, 0.9}) {
      const RiverList list = MakeRiverList(RandomBoard(rng), count, rng);
      const bool deadLane = zeroShare == 0.3;
      CheckEachLaneForm<1, 2, 3, 4, 6, 7, 8>(list, rng, zeroShare, deadLane, true);
      CheckEachLaneForm<1, 2, 3, 4, 6, 7, 8>(list, rng, zeroShare, deadLane, false);
    }
  }
}

// Reaches live only in a few tie groups, so that long stretches of dead
// groups merge into one record, with and without the mask; lanes live in
// different stretches.
TEST_F(KernelsTest, DeadStretchesBetweenLiveGroups) {
  std::mt19937 rng(7);
  for (int round = 0; round < 6; ++round) {
    const RiverList list = MakeRiverList(RandomBoard(rng), -1, rng);
    constexpr int L = 8;
    std::vector<std::vector<float>> reaches(L, std::vector<float>(list.Size(), 0.0f)), outs(L);
    std::vector<float> payoffs(L);
    for (int l = 0; l < L; ++l) {
      payoffs[l] = float(l + 1) * (l % 2 ? -1.0f : 1.0f) * (round % 2 ? 1000.0f : 0.5f);
      int first = 0;
      for (size_t g = 0; g < list.tieRuns.size(); ++g) {
        if ((g + l) % 11 == 0 || rng() % 17 == 0)
          for (int k = 0; k < list.tieRuns[g]; ++k) reaches[l][first + k] = float(rng() % 4) / 3.0f;
        first += list.tieRuns[g];
      }
    }
    const std::vector<uint16_t> mask = MaskOf(list, reaches, false);
    for (const uint16_t* m : {(const uint16_t*)nullptr, mask.data()}) {
      RunKernel<L>(outs, reaches, list, payoffs, m);
      for (int l = 0; l < L; ++l)
        ExpectNear(outs[l], ReferenceValues(list, reaches[l], payoffs[l], true), "dead stretches, 8 lanes");
      std::vector<std::vector<float>> single(1);
      for (int l = 0; l < L; ++l) {
        const std::vector<uint16_t> ownMask = MaskOf(list, {reaches[l]}, false);
        RunKernel<1>(single, {reaches[l]}, list, {payoffs[l]}, m ? ownMask.data() : nullptr);
        ExpectNear(single[0], ReferenceValues(list, reaches[l], payoffs[l], true), "dead stretches, 1 lane");
      }
    }
  }
}

// Cases whose answer is known without the reference: zeros everywhere.
TEST_F(KernelsTest, ZeroCases) {
  std::mt19937 rng(3);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    const char* what;
    std::vector<int> board;
    bool zeroReach;
    float payoff;
  };
  // As Ks Qs Js Ts: the board plays for every hand, all ties.
  const std::vector<Case> cases = {
      {"null reach", RandomBoard(rng), false, 1.0f},
      {"all-zero reach", RandomBoard(rng), true, 1.0f},
      {"board plays", {12, 11, 10, 9, 8}, false, 2.0f},
  };
  for (const Case& c : cases) {
    const RiverList list = MakeRiverList(c.board, -1, rng);
    std::vector<float> reach = RandomReach(list.Size(), 0.2, rng);
    if (c.zeroReach) std::fill(reach.begin(), reach.end(), 0.0f);
    const float* reachPointer = std::string(c.what) == "null reach" ? nullptr : reach.data();
    std::vector<float> a(list.Size(), nan), b(list.Size(), nan);
    float* out = a.data();
    ShowdownKernel<1>(&out, &reachPointer, list.Size(), list.tieRuns.data(), int(list.tieRuns.size()),
                      list.handCards.data(), &c.payoff, nullptr);
    if (std::string(c.what) == "board plays") {
      // All ties: zero up to the rounding of adding back what pass 1 took
      // off the card table. (A fold pays whoever folds; not checked here.)
      ExpectNear(a, ReferenceValues(list, reach, c.payoff, true), "board plays");
      continue;
    }
    for (float v : a) ASSERT_EQ(v, 0.0f) << c.what << " showdown";
    std::fill(a.begin(), a.end(), nan);
    FoldKernel<1>(&out, &reachPointer, list.Size(), list.handCards.data(), &c.payoff);
    for (float v : a) ASSERT_EQ(v, 0.0f) << c.what << " fold";
    std::fill(a.begin(), a.end(), nan);
    PairKernel(a.data(), b.data(), reachPointer, list.Size(), list.tieRuns.data(), int(list.tieRuns.size()),
               list.handCards.data(), c.payoff, c.payoff, nullptr);
    for (int i = 0; i < list.Size(); ++i) ASSERT_TRUE(a[i] == 0.0f && b[i] == 0.0f) << c.what << " pair";
  }
}

TEST_F(KernelsTest, PairKernelsMatchTheDoubleLoop) {
  std::mt19937 rng(11);
  for (int count : {0, 1, 5, 200, -1}) {
    for (double zeroShare : {0.0, 0.5, 0.95}) {
      const RiverList list = MakeRiverList(RandomBoard(rng), count, rng);
      const int n = list.Size();
      const std::vector<float> reachS = RandomReach(n, zeroShare, rng);
      const std::vector<float> reachF = RandomReach(n, zeroShare, rng);
      const float ps = float(rng() % 1000) / 100.0f - 3.0f;
      const float pf = -float(rng() % 1000) / 100.0f;
      const Reference showdownOne = ReferenceValues(list, reachS, ps, true);
      const Reference foldOne = ReferenceValues(list, reachS, pf, false);
      const Reference foldTwo = ReferenceValues(list, reachF, pf, false);
      const std::vector<uint16_t> maskOne = MaskOf(list, {reachS}, false);
      const std::vector<uint16_t> maskTwo = MaskOf(list, {reachS, reachF}, false);
      for (bool masked : {false, true}) {
        SCOPED_TRACE(::testing::Message() << "n=" << n << " zeros " << zeroShare << (masked ? " masked" : ""));
        std::vector<float> outS(n, NAN), outF(n, NAN);
        PairKernel(outS.data(), outF.data(), reachS.data(), n, list.tieRuns.data(), int(list.tieRuns.size()),
                   list.handCards.data(), ps, pf, masked ? maskOne.data() : nullptr);
        ExpectNear(outS, showdownOne, "PairKernel showdown");
        ExpectNear(outF, foldOne, "PairKernel fold");
        std::fill(outS.begin(), outS.end(), NAN);
        std::fill(outF.begin(), outF.end(), NAN);
        PairKernel2(outS.data(), outF.data(), reachS.data(), reachF.data(), n, list.tieRuns.data(),
                    int(list.tieRuns.size()), list.handCards.data(), ps, pf, masked ? maskTwo.data() : nullptr);
        ExpectNear(outS, showdownOne, "PairKernel2 showdown");
        ExpectNear(outF, foldTwo, "PairKernel2 fold");
      }
    }
  }
}

TEST_F(KernelsTest, LaneGroupsAreGreedyByLevel) {
  struct Case {
    int count;
    int level;
    bool showdown;
    std::vector<int> widths;
  };
  const std::vector<Case> cases = {
      {13, 8, true, {8, 4, 1}},    {13, 6, true, {6, 6, 1}},    {13, 5, true, {4, 4, 4, 1}},
      {13, 1, true, std::vector<int>(13, 1)},                    {7, 8, true, {7}},
      {15, 7, true, {7, 7, 1}},    {5, 8, true, {4, 1}},        {2, 8, true, {2}},
      {1, 8, true, {1}},           {11, 8, false, {8, 3}},      {6, 3, false, {3, 3}},
      {5, 2, false, {2, 2, 1}},    {9, 8, true, {8, 1}},
  };
  for (const Case& c : cases) {
    std::vector<int> widths;
    for (int remaining = c.count; remaining > 0;) {
      const int width = c.showdown ? NextShowdownWidth(remaining, c.level) : NextFoldWidth(remaining, c.level);
      widths.push_back(width);
      remaining -= width;
    }
    EXPECT_EQ(widths, c.widths) << c.count << " at level " << c.level << (c.showdown ? " showdown" : " fold");
  }
}

}  // namespace
