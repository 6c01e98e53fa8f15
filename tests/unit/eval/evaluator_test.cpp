// The evaluators against a reference that knows nothing of lanes or tables:
// it counts ranks and suits of five cards and takes the best five of more.
// Every five-card hand is checked, with the published category totals, and
// every rank pattern of six and seven cards, plus seeded random hands drawn
// from few suits so that flushes and straight flushes are common.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "eval/evaluate_cards.h"
#include "eval/hand_tables.h"
#include "eval/hand_values.h"
#include "eval/rule_settings.h"
#include "reference_hands.h"
#include "setup/cards.h"

namespace {

constexpr uint64_t Seed = 0x5eed2024;

std::string Text(const int* cards, int n) {
  CardMask mask = 0;
  for (int i = 0; i < n; ++i) mask |= CardBit(cards[i]);
  return FormatCards(mask);
}

int Parse(const char* text, int* cards) {
  int n = 0;
  for (CardMask rest = ParseCards(text); rest; rest &= rest - 1) cards[n++] = __builtin_ctzll(rest);
  return n;
}

uint32_t Eval(const char* text) {
  int cards[7];
  int n = Parse(text, cards);
  return EvaluateCards(cards, n);
}

// Draws n distinct cards from a random set of one to four suits, so that
// flushes, several flush candidates and straight flushes all come up often.
void DrawFromFewSuits(std::mt19937_64& rng, int n, int* cards) {
  std::vector<int> pool;
  while (int(pool.size()) < n) {
    pool.clear();
    unsigned suits = unsigned(rng() % 15) + 1;
    for (int card = 0; card < 52; ++card)
      if (suits >> (card / 13) & 1) pool.push_back(card);
  }
  for (int i = 0; i < n; ++i) {
    size_t j = i + rng() % (pool.size() - i);
    std::swap(pool[i], pool[j]);
    cards[i] = pool[i];
  }
}

// Rule settings changed by a test come back to the defaults afterwards.
class EvaluatorTest : public ::testing::Test {
 protected:
  void SetUp() override { InitHandTables(); }
  void TearDown() override { ResetRuleSettings(); }
};

TEST_F(EvaluatorTest, AllFiveCardHandsMatchReferenceAndPublishedTotals) {
  uint64_t byType[16] = {};
  int cards[5];
  for (cards[0] = 0; cards[0] < 52; ++cards[0])
    for (cards[1] = cards[0] + 1; cards[1] < 52; ++cards[1])
      for (cards[2] = cards[1] + 1; cards[2] < 52; ++cards[2])
        for (cards[3] = cards[2] + 1; cards[3] < 52; ++cards[3])
          for (cards[4] = cards[3] + 1; cards[4] < 52; ++cards[4]) {
            uint32_t got = EvaluateCards(cards, 5);
            uint32_t want = ReferenceValue(cards, 5);
            if (got != want) FAIL() << Text(cards, 5) << std::hex << ": got " << got << ", want " << want;
            ++byType[got >> 24];
          }
  const uint64_t published[9] = {1302540, 1098240, 123552, 54912, 10200, 5108, 3744, 624, 40};
  for (int type = 0; type < 9; ++type) EXPECT_EQ(byType[type], published[type]) << HandTypeWords[type];
}

TEST_F(EvaluatorTest, AllThreeAndFourCardHandsMatchReference) {
  int cards[4];
  for (cards[0] = 0; cards[0] < 52; ++cards[0])
    for (cards[1] = cards[0] + 1; cards[1] < 52; ++cards[1])
      for (cards[2] = cards[1] + 1; cards[2] < 52; ++cards[2]) {
        ASSERT_EQ(EvaluateCards(cards, 3), ReferenceValue(cards, 3)) << Text(cards, 3);
        for (cards[3] = cards[2] + 1; cards[3] < 52; ++cards[3])
          if (EvaluateCards(cards, 4) != ReferenceValue(cards, 4))
            FAIL() << Text(cards, 4) << std::hex << ": got " << EvaluateCards(cards, 4);
      }
}

// Every multiset of six or seven ranks (each rank at most four times), with
// random suits: each pattern of multiplicities at every choice of ranks.
TEST_F(EvaluatorTest, EveryRankPatternOfSixAndSevenCardsMatchesReference) {
  std::mt19937_64 rng(Seed);
  SCOPED_TRACE("seed " + std::to_string(Seed));
  for (int n : {6, 7}) {
    int multiplicity[13] = {};
    int checked = 0;
    // Odometer over multiplicities 0..4 of the 13 ranks, keeping sums of n.
    for (;;) {
      int sum = 0;
      for (int m : multiplicity) sum += m;
      if (sum == n) {
        int cards[7], k = 0;
        for (int rank = 0; rank < 13; ++rank) {
          std::array<int, 4> suits = {0, 1, 2, 3};
          std::shuffle(suits.begin(), suits.end(), rng);
          for (int i = 0; i < multiplicity[rank]; ++i) cards[k++] = rank + 13 * suits[i];
        }
        uint32_t got = EvaluateCards(cards, n), want = ReferenceBest(cards, n);
        if (got != want) FAIL() << Text(cards, n) << std::hex << ": got " << got << ", want " << want;
        ++checked;
      }
      int rank = 0;
      while (rank < 13 && (multiplicity[rank] == 4 || sum >= n)) {
        sum -= multiplicity[rank];
        multiplicity[rank++] = 0;
      }
      if (rank == 13) break;
      ++multiplicity[rank];
    }
    // Multisets of n out of 13 ranks, each at most four times.
    EXPECT_EQ(checked, n == 6 ? 18395 : 49205);
  }
}

TEST_F(EvaluatorTest, RandomSixAndSevenCardHandsMatchReference) {
  std::mt19937_64 rng(Seed);
  SCOPED_TRACE("seed " + std::to_string(Seed));
  uint64_t byType[16] = {};
  for (int i = 0; i < 200000; ++i) {
    int n = 6 + i % 2;
    int cards[7];
    DrawFromFewSuits(rng, n, cards);
    uint32_t got = EvaluateCards(cards, n), want = ReferenceBest(cards, n);
    if (got != want)
      FAIL() << "hand " << i << " " << Text(cards, n) << std::hex << ": got " << got << ", want " << want;
    ++byType[got >> 24];
  }
  // The draw must actually reach every category, or the comparison proves
  // little (quads are rare here: they need all four suits).
  for (int type = 0; type < 9; ++type) EXPECT_GT(byType[type], 10u) << HandTypeWords[type];
}

TEST_F(EvaluatorTest, KnownHands) {
  struct Case {
    const char* cards;
    uint32_t value;
  };
  const Case cases[] = {
      // Hands of every type with their values are printed by the eval_hand
      // transcripts; these are the ones they don't show.
      {"AsAhKsKhQsQhJd", 0x20CBA00},  // three pairs: the third pair is the kicker
      {"AsAhKsKh2s2hQd", 0x20CBA00},
      {"7s7h7dKsKhKc2c", 0x60B5000},  // two threes: higher over lower
      {"QcQdQhQs3c3dKc", 0x70AB000},  // quads, pair, single: the higher one kicks
      {"AcAd", 0},  // too few cards
      {"QcQdQs", 0x30A0000},
      {"8c8dAs", 0x106C000},
      {"Kd9s2c", 0x00B7000},
      {"7c7d7h7s", 0x7050000},
      {"7c7d7h2s", 0x3050000},
      {"7c7d2h2s", 0x2050000},
      {"7c7d2hKs", 0x105B000},
      {"Ac7dTh2s", 0x00C8500},
  };
  for (const Case& c : cases) EXPECT_EQ(Eval(c.cards), c.value) << c.cards;

  int eight[8];
  Parse("AhKhQhJhTh9h8h7h", eight);
  EXPECT_EQ(EvaluateCards(eight, 8), 0u);
}

// Under a shortened deck the ace also plays below the low card. Every five
// cards of the deck from the six up, and random five to seven cards of the
// decks from the trey and the six up, against the reference with that low
// run.
TEST_F(EvaluatorTest, LowCardStraightMatchesReferenceOnShortDeck) {
  std::mt19937_64 rng(Seed);
  SCOPED_TRACE("seed " + std::to_string(Seed));
  for (int low : {4, 1}) {
    lowCard = low;
    std::vector<int> deck;
    for (int card = 0; card < 52; ++card)
      if (card % 13 >= low) deck.push_back(card);
    const int size = int(deck.size());
    int idx[5], cards[7];
    if (low == 4) {
      for (idx[0] = 0; idx[0] < size; ++idx[0])
        for (idx[1] = idx[0] + 1; idx[1] < size; ++idx[1])
          for (idx[2] = idx[1] + 1; idx[2] < size; ++idx[2])
            for (idx[3] = idx[2] + 1; idx[3] < size; ++idx[3])
              for (idx[4] = idx[3] + 1; idx[4] < size; ++idx[4]) {
                for (int i = 0; i < 5; ++i) cards[i] = deck[idx[i]];
                uint32_t got = EvaluateCards(cards, 5), want = ReferenceValue(cards, 5, low);
                if (got != want)
                  FAIL() << "low " << low << " " << Text(cards, 5) << std::hex << ": got " << got;
              }
    }
    for (int i = 0; i < 60000; ++i) {
      int n = 5 + i % 3;
      std::shuffle(deck.begin(), deck.end(), rng);
      std::copy(deck.begin(), deck.begin() + n, cards);
      uint32_t got = EvaluateCards(cards, n), want = ReferenceBest(cards, n, low);
      if (got != want) FAIL() << "low " << low << " " << Text(cards, n) << std::hex << ": got " << got;
    }
  }

  lowCard = 4;
  EXPECT_EQ(Eval("Ah6c7d8s9hTc"), 0x4080000u);  // the ordinary ten-high straight
  // Four of the low run in the flush suit, the nine elsewhere: still a flush.
  EXPECT_EQ(Eval("Ah6h7h8hKh9c"), 0x50CB654u);
  EXPECT_EQ(Eval("AsAhAd6c7c8d9h"), 0x4030000u);
  lowCard = 0;
  EXPECT_EQ(Eval("AsAhAd6c7c8d9h"), 0x30C7600u);
}

TEST_F(EvaluatorTest, HandTypeOrderReplacesTypeField) {
  // Default order spelled out changes nothing.
  ApplyHandTypeOrder({0, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_TRUE(defaultHandTypeOrder);
  EXPECT_EQ(Eval("AhKh9h7h5h3h2c"), 0x50CB753u);

  // Flush above full house shows in the eval_hand transcripts; on seven
  // cards the six-card flush keeps its best five.
  ApplyHandTypeOrder({0, 1, 2, 3, 4, 6, 5, 7, 8});
  EXPECT_FALSE(defaultHandTypeOrder);
  EXPECT_EQ(Eval("AhKh9h7h5h3h2c"), 0x60CB753u);

  // Trips above straight: the low straight no longer replaces the trips, and
  // the trips carry the straight's old position.
  ApplyHandTypeOrder({0, 1, 2, 4, 3, 5, 6, 7, 8});
  lowCard = 4;
  EXPECT_EQ(Eval("AsAhAd6c7c8d9h"), 0x40C7600u);
  // but it still replaces a high card, a straight being above it
  EXPECT_EQ(Eval("Ah6c7d8s9h"), 0x3030000u);
}

// Small helper for the mustUseHoleCards checks: all combos of cards not on
// the board, with the clashing ones given as 0 as a tree build does.
std::vector<CardMask> AllCombos(CardMask board) {
  std::vector<CardMask> combos;
  for (int hi = 1; hi < 52; ++hi)
    for (int lo = 0; lo < hi; ++lo) {
      CardMask combo = CardBit(hi) | CardBit(lo);
      combos.push_back(combo & board ? 0 : combo);
    }
  return combos;
}

// Reference for one combo under mustUseHoleCards 1 or 2: the best of the
// allowed five-card hands.
uint32_t ReferenceMustUse(CardMask board, CardMask combo, int rule) {
  std::vector<int> boardCards, hole;
  for (CardMask r = board; r; r &= r - 1) boardCards.push_back(__builtin_ctzll(r));
  for (CardMask r = combo; r; r &= r - 1) hole.push_back(__builtin_ctzll(r));
  int boardPick = rule == 1 ? 4 : 3;
  uint32_t best = 0;
  for (unsigned pick = 0; pick < 1u << boardCards.size(); ++pick) {
    if (__builtin_popcount(pick) != boardPick) continue;
    for (unsigned holePick = 1; holePick < 4; ++holePick) {
      if (__builtin_popcount(holePick) != 5 - boardPick) continue;
      int five[5], k = 0;
      for (size_t i = 0; i < boardCards.size(); ++i)
        if (pick >> i & 1) five[k++] = boardCards[i];
      for (int i = 0; i < 2; ++i)
        if (holePick >> i & 1) five[k++] = hole[i];
      best = std::max(best, ReferenceValue(five, 5));
    }
  }
  return best;
}

TEST_F(EvaluatorTest, ComputeHandValuesUnderEachHoleCardRule) {
  std::mt19937_64 rng(Seed);
  SCOPED_TRACE("seed " + std::to_string(Seed));
  for (int boardSize : {3, 4, 5}) {
    int deck[52];
    for (int i = 0; i < 52; ++i) deck[i] = i;
    std::shuffle(deck, deck + 52, rng);
    CardMask board = 0;
    for (int i = 0; i < boardSize; ++i) board |= CardBit(deck[i]);
    std::vector<CardMask> combos = AllCombos(board);
    SCOPED_TRACE("board " + FormatCards(board));

    for (uint32_t rule : {0u, 1u, 2u}) {
      mustUseHoleCards = rule;
      std::vector<uint32_t> values = ComputeHandValues(board, combos);
      ASSERT_EQ(values.size(), combos.size());
      for (size_t i = 0; i < combos.size(); ++i) {
        uint32_t want;
        if (!combos[i]) {
          want = 0xFFFFFFFF;
        } else if (rule == 0) {
          int cards[7], n = 0;
          for (CardMask r = board | combos[i]; r; r &= r - 1) cards[n++] = __builtin_ctzll(r);
          want = ReferenceBest(cards, n);
        } else if (rule == 1 && boardSize < 4) {
          want = 0;
        } else {
          want = ReferenceMustUse(board, combos[i], int(rule));
        }
        ASSERT_EQ(values[i], want) << "rule " << rule << " combo " << FormatCards(combos[i]);
        // Out-of-play combos sort below every real value when read as signed.
        if (combos[i]) {
          ASSERT_GT(int32_t(values[i]), int32_t(0xFFFFFFFF));
        }
      }
    }
  }

  // A royal flush on the board plays for everyone only while any five may play.
  const CardMask royal = ParseCards("AhKhQhJhTh");
  const std::vector<CardMask> combos = {ParseCards("2c3d"), ParseCards("9h8c"), ParseCards("AsKs"), 0};
  mustUseHoleCards = 0;
  EXPECT_EQ(ComputeHandValues(royal, combos),
            (std::vector<uint32_t>{0x80C0000, 0x80C0000, 0x80C0000, 0xFFFFFFFF}));
  mustUseHoleCards = 1;
  EXPECT_EQ(ComputeHandValues(royal, combos),
            (std::vector<uint32_t>{0x00CBA91, 0x80B0000, 0x40C0000, 0xFFFFFFFF}));
  mustUseHoleCards = 2;
  EXPECT_EQ(ComputeHandValues(royal, combos),
            (std::vector<uint32_t>{0x00CBA10, 0x40A0000, 0x40C0000, 0xFFFFFFFF}));
}

}  // namespace
