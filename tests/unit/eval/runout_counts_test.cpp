#include <gtest/gtest.h>

#include "eval/rule_settings.h"
#include "eval/runout_counts.h"
#include "setup/cards.h"

namespace {

// The runouts against a count of the deck: cards of a rank the rule keeps,
// on neither the board nor the two hands.
TEST(RunoutCounts, CountTheCardsLeftForAPairOfHands) {
  const int saved = lowCard;
  const CardMask flop = ParseCards("Qs Jh 7h"), hands = ParseCards("Ac Kd 9s 9d"), turn = ParseCards("8c");
  for (lowCard = 0; lowCard <= 4; ++lowCard) {
    int turns = 0, rivers = 0;
    for (int c = 0; c < 52; ++c) {
      if (RankOf(c) < lowCard || ((flop | hands) & CardBit(c))) continue;
      ++turns;
      if (!(turn & CardBit(c))) ++rivers;
    }
    EXPECT_EQ(TurnCardCount(), turns) << lowCard;
    EXPECT_EQ(RiverCardCount(), rivers) << lowCard;
    EXPECT_EQ(RunoutCount(-1, -1), turns * rivers);
    EXPECT_EQ(RunoutCount(0, -1), rivers);
    EXPECT_EQ(RunoutCount(0, 0), 1);
  }
  lowCard = saved;
}

}  // namespace
