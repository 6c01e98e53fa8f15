#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "build_test_util.h"
#include "tree/client_combos.h"
#include "tree/deal_indexes.h"

namespace {

// Rows cross between the client's combos and a canonical hand list: each
// list hand holds the value of the client combo its cards stand for (the
// board's suit map taken back), and the way back restores every combo the
// board leaves, not-a-number for the others.
TEST_F(BuildFixture, ClientCombosCrossTheSuitMapBothWays) {
  SetRanges([](int, int) { return 1.0; });
  AddLines({"0 0"});
  SetBoard("Qs Jh 2h");
  BuildTreeFromSetUp();
  const SolverContext& context = Context();
  ASSERT_TRUE(context.flags & IsomorphismOnFlag);
  std::vector<double> values(HandCount);
  for (int c = 0; c < HandCount; ++c) values[size_t(c)] = c + 0.5;

  const struct {
    const char* turn;
    const char* river;
  } deals[] = {{"", ""}, {"8d", ""}, {"8d", "3c"}, {"Ks", "5h"}, {"Kc", "Kd"}};
  for (const auto& d : deals) {
    SCOPED_TRACE(std::string(d.turn) + " " + d.river);
    const int turnCard = *d.turn ? CardOf(d.turn) : -1, riverCard = *d.river ? CardOf(d.river) : -1;
    const DealIndexes deal = FindDeal(context, turnCard, riverCard);
    ASSERT_FALSE(deal.unknownCard);
    CardMask flop = ParseCards("Qs Jh 2h"), turn = deal.turnMask, river = deal.riverMask;
    const CardMask board = flop | turn | river;
    const SuitMap map = CanonicalizeBoard(flop, turn, river);
    SuitMap back;
    for (int s = 0; s < 4; ++s) back[map[size_t(s)]] = uint8_t(s);

    const BoardNode* entry = DealListNode(context, deal);
    const std::vector<CardMask>& hands = entry ? entry->hands : context.boardTree->hands;
    const std::vector<float> row = ListRowFromClient(context, deal, values.data());
    ASSERT_EQ(row.size(), hands.size());
    ASSERT_EQ(ListSize(context, deal), hands.size());
    for (size_t h = 0; h < hands.size(); ++h)
      EXPECT_EQ(row[h], float(values[size_t(ComboOf(MapCards(hands[h], back)))])) << h;

    std::vector<double> out(HandCount);
    ListRowToClient(context, deal, row.data(), out.data());
    for (int c = 0; c < HandCount; ++c) {
      if (ComboMask[size_t(c)] & board)
        EXPECT_TRUE(std::isnan(out[size_t(c)])) << c;
      else
        EXPECT_EQ(out[size_t(c)], values[size_t(c)]) << c;
    }
  }
}

}  // namespace
