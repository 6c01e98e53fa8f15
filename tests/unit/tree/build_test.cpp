#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>
#include <numeric>
#include <set>
#include <string>

#include "build_test_util.h"
#include "eval/evaluate_cards.h"
#include "shell/command_error.h"
#include "solver/river_batch.h"
#include "tree/store_setup.h"
#include "tree/board_tree_build.h"
#include "tree/node_list.h"
#include "tree/showdown_tables.h"

namespace {

std::string BuildError() {
  try {
    BuildTreeFromSetUp();
  } catch (const CommandError& error) {
    return error.what();
  } catch (const CommandFailure& failure) {
    return CommandErrorLine(failure);
  }
  return "no error";
}

double AllOnes(int, int) { return 1.0; }

// Suit-symmetric weights that differ by ranks, with whole classes at 0 in
// both ranges (rank sums divisible by 3).
double ByRanks(int player, int combo) {
  CardMask hand = ComboMask[size_t(combo)];
  int sum = RankOf(std::countr_zero(hand)) + RankOf(63 - std::countl_zero(hand));
  if (player == 0) return double(sum % 3) * 0.5;
  return sum % 3 == 1 ? 1.0 : sum % 3 == 2 ? 0.25 : 0.0;
}

// Cards in the order written.
std::vector<int> CardList(const char* text) {
  std::vector<int> cards;
  for (const std::string& word : Words(text)) cards.push_back(std::countr_zero(ParseCards(word)));
  return cards;
}

// Canonicalizes the board in place; the map back to the client's suits.
SuitMap CanonicalBack(CardMask& flop, CardMask& turn, CardMask& river) {
  const SuitMap map = CanonicalizeBoard(flop, turn, river);
  SuitMap back;
  for (int s = 0; s < 4; ++s) back[map[size_t(s)]] = uint8_t(s);
  return back;
}

// HandValue of board + hand by the plain seven-card entry.
uint32_t ValueOf(CardMask board, CardMask hand) {
  int cards[7];
  int n = 0;
  for (CardMask rest = board | hand; rest; rest &= rest - 1) cards[n++] = std::countr_zero(rest);
  return EvaluateCards(cards, n);
}

// The ordinary refusals, in their order, show in tree_build_errors; these
// are the range checks, which must leave the old tree too.
TEST_F(BuildFixture, RangeRefusalsLeaveTheOldTree) {
  SetRanges(AllOnes);
  SetBoard("Qs Jh 2h");
  AddLines({"0 0"});
  BuildTreeFromSetUp();
  SolverContext* old = GlobalContext;
  ASSERT_NE(old, nullptr);

  // Every OOP hand holds the ace of clubs, every IP hand too: no pair fits.
  // On the turn, where no isomorphism check comes first.
  SetBoard("Qs Jh 2h", "3c");
  const CardMask ace = ParseCards("Ac");
  SetRanges([&](int, int combo) { return ComboMask[size_t(combo)] & ace ? 1.0 : 0.0; });
  EXPECT_EQ(BuildError(), "ERROR: build_tree ranges have no compatible hands\n");
  EXPECT_EQ(GlobalContext, old);

  // A suit-specific weight is refused under isomorphism, accepted without.
  SetRanges(AllOnes);
  Ranges[0][size_t(ComboOf(ParseCards("AcKc")))] = 0.5;
  SetBoard("Qs Jh 2h");
  EXPECT_NE(BuildError().find("inconsistent range: OOP"), std::string::npos);
  EXPECT_EQ(GlobalContext, old);
  IsomorphismFlopRoots = false;
  BuildTreeFromSetUp();
  EXPECT_NE(GlobalContext, nullptr);
}

TEST_F(BuildFixture, RiverRootHasOneDealAndChanceRecordsOnlyAtTheRoot) {
  SetRanges(AllOnes);
  SetBoard("Qs Jh 2h", "3c", "4d");
  AddLines({"0 0", "50 50", "50 150 150"});
  BuildTreeFromSetUp();
  const SolverContext& context = Context();
  const BoardTree& boards = *context.boardTree;
  ASSERT_EQ(boards.turns.size(), 1u);
  ASSERT_EQ(boards.turns[0].rivers.size(), 1u);
  EXPECT_EQ(boards.turns[0].card, CardOf("3c"));
  EXPECT_EQ(boards.turns[0].rivers[0].card, CardOf("4d"));
  EXPECT_EQ(context.rootTurn, 0);
  EXPECT_EQ(context.rootRiver, 0);
  EXPECT_EQ(context.rootStreet, 3);
  EXPECT_EQ(context.flags & IsomorphismOnFlag, 0u);

  // C(47, 2) hands miss the five cards.
  const BoardNode& river = boards.turns[0].rivers[0];
  EXPECT_EQ(river.HandCount(), 47 * 46 / 2);
  EXPECT_EQ(context.rootWeights[0].size(), size_t(river.HandCount()));

  EXPECT_EQ(context.nodes[0].chanceCount, 49);
  for (size_t i = 0; i < context.nodes.size(); ++i) {
    EXPECT_EQ(context.nodes[i].street, 3) << i;
    EXPECT_EQ(context.nodes[i].chance != nullptr, i == 0) << i;
    EXPECT_EQ(context.nodes[i].dealMutexes, nullptr) << i;
  }
}

TEST_F(BuildFixture, NodeListFollowsTheTrie) {
  SetRanges(AllOnes);
  SetBoard("Qs Jh 2h");
  PotValues = {0.0, 0.0, 100.0};
  // Flop bet and call; flop check-check, then a turn bet that is called or
  // folded; flop check, bet 30, fold or call.
  AddLines({"100 100", "0 0 50 50", "0 30 30"});
  BuildTreeFromSetUp();
  const SolverContext& context = Context();
  const std::vector<TreeNode>& nodes = context.nodes;

  // Depth first in map order: root; bet 100 (call 100, fold); check 0
  // (bet 30 (call, fold), check behind 0 (bet 50 (call, fold))).
  struct Expected {
    int kind, parent, player, street;
    double value;
    int chance;
  };
  const Expected expected[] = {
      {0, -1, 0, 1, 0.0, 0},   // 0 root, OOP
      {0, 0, 1, 1, 0.0, 0},    // 1 bet 100, IP to act
      {1, 1, 1, 3, 150.0, 0},  // 2 call: dealt out to a showdown
      {2, 1, 1, 1, 50.0, 0},   // 3 fold: IP folds, having paid 0
      {0, 0, 1, 1, 0.0, 0},    // 4 check, IP to act
      {0, 4, 0, 1, 0.0, 0},    // 5 bet 30, OOP to act
      {1, 5, 0, 3, 80.0, 0},   // 6 call 30
      {2, 5, 0, 1, 50.0, 0},   // 7 fold
      {0, 4, 0, 2, 0.0, 1},    // 8 check behind: first turn node
      {0, 8, 1, 2, 0.0, 0},    // 9 turn bet 50, IP to act
      {1, 9, 1, 3, 100.0, 0},  // 10 call
      {2, 9, 1, 2, 50.0, 0},   // 11 fold on the turn: street 2, the folder
  };
  ASSERT_EQ(nodes.size(), std::size(expected));
  for (size_t i = 0; i < nodes.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(nodes[i].kind, expected[i].kind);
    EXPECT_EQ(nodes[i].parent, expected[i].parent);
    EXPECT_EQ(nodes[i].player, expected[i].player);
    EXPECT_EQ(nodes[i].street, expected[i].street);
    EXPECT_DOUBLE_EQ(nodes[i].value, expected[i].value);
    EXPECT_EQ(nodes[i].chanceCount, expected[i].chance);
    EXPECT_EQ(nodes[i].dealMutexes != nullptr, i == 8);
    EXPECT_EQ(nodes[i].parentNode, expected[i].parent < 0 ? nullptr : &nodes[size_t(expected[i].parent)]);
    EXPECT_EQ(nodes[i].IsEnd(), nodes[i].store0 == nullptr);
  }
  EXPECT_EQ(nodes[0].children, (std::vector<int32_t>{1, 4}));
  EXPECT_EQ(nodes[4].children, (std::vector<int32_t>{5, 8}));
  EXPECT_EQ(nodes[5].children, (std::vector<int32_t>{6, 7}));
  EXPECT_EQ(SchematicRoot->children.at(0.0)->children.at(0.0)->index, 8);
  EXPECT_DOUBLE_EQ(context.maxPayoff, 150.0);
  EXPECT_EQ(context.maxChildren, 2);
  // 2 + 2 + 2 + 2 + 1 + 2 children over six decision nodes.
  EXPECT_DOUBLE_EQ(context.meanChildren, 11.0 / 6.0);
  EXPECT_EQ(context.effectiveStack, 100);
}

// Without isomorphism the lists can be checked against a direct evaluation.
TEST_F(BuildFixture, HandListsAreSortedAndMatchADirectEvaluation) {
  IsomorphismFlopRoots = false;
  SetRanges(ByRanks);
  SetBoard("Qs Jh 2h");
  AddLines({"0 0"});
  BuildTreeFromSetUp();
  const BoardTree& boards = *Context().boardTree;
  const CardMask flop = ParseCards("Qs Jh 2h");

  // The universe: hands off the flop with weight on either side, by combo.
  std::vector<CardMask> universe;
  for (int c = 0; c < HandCount; ++c)
    if (!(ComboMask[size_t(c)] & flop) && (ByRanks(0, c) > 0 || ByRanks(1, c) > 0))
      universe.push_back(ComboMask[size_t(c)]);
  EXPECT_EQ(boards.hands, universe);
  ASSERT_EQ(boards.turns.size(), 49u);

  for (size_t t = 0; t < boards.turns.size(); t += 6) {
    const BoardNode& turn = boards.turns[t];
    SCOPED_TRACE(FormatCards(turn.board));
    // Four cards: ascending value, ties in the root list's order.
    std::vector<std::pair<uint32_t, size_t>> order;
    for (size_t i = 0; i < universe.size(); ++i)
      if (!(universe[i] & turn.board)) order.push_back({ValueOf(turn.board, universe[i]), i});
    std::stable_sort(order.begin(), order.end(), [](auto& a, auto& b) { return a.first < b.first; });
    ASSERT_EQ(turn.hands.size(), order.size());
    for (size_t i = 0; i < order.size(); ++i) {
      EXPECT_EQ(turn.hands[i], universe[order[i].second]);
      EXPECT_EQ(turn.strengths[i], order[i].first);
      EXPECT_EQ(turn.parentIndex[0][i], order[i].second);
    }

    for (size_t r = 0; r < turn.rivers.size(); r += 7) {
      const BoardNode& river = turn.rivers[r];
      std::multiset<std::pair<CardMask, uint32_t>> direct, built;
      for (CardMask hand : turn.hands)
        if (!(hand & river.board)) direct.insert({hand, ValueOf(river.board, hand)});
      for (size_t i = 0; i < river.hands.size(); ++i) {
        built.insert({river.hands[i], river.strengths[i]});  // the order: tie runs test
        EXPECT_EQ(turn.hands[river.parentIndex[0][i]], river.hands[i]);
        const uint16_t cards = river.handCards[i];
        EXPECT_EQ(CardBit(cards & 0xFF) | CardBit(cards >> 8), river.hands[i]);
        EXPECT_LT(cards & 0xFF, cards >> 8);
        EXPECT_EQ(river.comboToHand[size_t(ComboOf(river.hands[i]))], i);
      }
      EXPECT_EQ(built, direct);
      EXPECT_EQ(turn.riverHandCounts[r], river.HandCount());
      EXPECT_EQ(boards.riverHandCounts[t][r], river.HandCount());
    }
    EXPECT_EQ(boards.turnHandCounts[t], turn.HandCount());
    EXPECT_EQ(boards.cardToTurn[size_t(turn.card)], int(t));
  }
}

TEST(BoardTreeBuild, FlushSuitAndRiverOrder) {
  BuildHandTables();
  // Hearts 0..3 counts: the suit with most, at least two, lower on ties.
  EXPECT_EQ(FlushSuit(ParseCards("Qs Jh 2h 5c")), 2);
  EXPECT_EQ(FlushSuit(ParseCards("Qs Jh 2h 5s")), 2);  // two spades, two hearts
  EXPECT_EQ(FlushSuit(ParseCards("Qs Js 2h 5s")), 3);
  EXPECT_EQ(FlushSuit(ParseCards("Qs Jh 2c 5d")), -1);
  EXPECT_EQ(FlushSuit(ParseCards("Qc Jc 2c 5c")), 0);

  std::array<std::vector<double>, 2> ranges;
  ranges[0].assign(HandCount, 1.0);
  ranges[1].assign(HandCount, 1.0);
  struct Case {
    const char* flop;
    const char* turn;
    const char* firstRivers;  // the first four, worked out by hand
    const char* lastRivers;   // the last four
  };
  const Case cases[] = {
      // Two hearts and two spades: hearts, the lower suit, are the flush
      // suit and come last; the others by rank, then suit.
      {"Qs Jh 2h", "5s", "2c 2d 2s 3c", "Th Qh Kh Ah"},
      // Four suits: no flush suit, rank then suit throughout.
      {"Qs Jh 2c", "5d", "2d 2h 2s 3c", "Ac Ad Ah As"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.turn);
    BoardTreeInput input;
    input.flop = ParseCards(c.flop);
    input.turn = std::countr_zero(ParseCards(c.turn));
    input.ranges = &ranges;
    std::unique_ptr<BoardTree> tree = BuildBoardTree(input);
    ASSERT_EQ(tree->turns.size(), 1u);
    const BoardNode& turn = tree->turns[0];
    ASSERT_EQ(turn.rivers.size(), 48u);
    std::vector<int> order;
    for (const BoardNode& river : turn.rivers) order.push_back(river.card);
    EXPECT_EQ(std::vector<int>(order.begin(), order.begin() + 4), CardList(c.firstRivers));
    EXPECT_EQ(std::vector<int>(order.end() - 4, order.end()), CardList(c.lastRivers));
    for (int r = 0; r < 48; ++r) EXPECT_EQ(turn.cardToRiver[size_t(order[size_t(r)])], r);
  }
}

// On Ac Kd Qh Js Tc every hand plays the broadway straight, so the whole
// list is one tie and the second key alone orders it. Keys by hand, all
// four suits live: 3d2c = 13*256 + 3*8 + 4, 3c2d = 13*256 + 4*8 + 3,
// 3s2s = 13*256 + 64 + 1, 3c2c = 13*256 + 64 + 4; 2h2s = 2*8 + 1 and
// 2c2d = 4*8 + 3 (pairs: hi is the lower card number).
TEST_F(BuildFixture, SecondKeyOrdersTiesOnFiveCardBoards) {
  SetRanges(AllOnes);
  SetBoard("Ac Kd Qh", "Js", "Tc");
  AddLines({"0 0"});
  BuildTreeFromSetUp();
  const BoardNode& river = Context().boardTree->turns[0].rivers[0];
  ASSERT_EQ(river.tieRuns.size(), 1u);
  EXPECT_EQ(river.tieRuns[0], river.HandCount());
  EXPECT_TRUE(river.smallGroups.empty());
  ASSERT_EQ(river.largeGroups.size(), 1u);
  EXPECT_EQ(river.largeGroups[0].size, river.HandCount());

  auto position = [&](const char* hand) { return river.comboToHand[size_t(ComboOf(ParseCards(hand)))]; };
  const char* ascending[] = {"2h2s", "2c2d", "3d2c", "3c2d", "3s2s", "3c2c", "4d3c"};
  for (size_t i = 1; i < std::size(ascending); ++i)
    EXPECT_LT(position(ascending[i - 1]), position(ascending[i])) << ascending[i - 1] << " " << ascending[i];

  // Only spades live: 3c2s = 13*256 + 1 comes after 3d2c = 13*256 + 0, and
  // suited clubs (64) before suited spades (65).
  const std::pair<const char*, uint32_t> spades[] = {{"3c2s", 1}, {"3d2c", 0}, {"3s2c", 8}, {"3c2c", 64}, {"3s2s", 65}};
  for (const auto& [hand, key] : spades)
    EXPECT_EQ(FiveCardSecondKey(ParseCards(hand), ParseCards("As Ks Qs Js Ts")), 13u * 256 + key) << hand;
}

// Tie runs group equal strengths, in ascending order, over the whole list,
// and never more of them than a live mask holds. The group records built
// from them are worked by hand below.
TEST_F(BuildFixture, TieRunsCoverEveryRiverList) {
  IsomorphismFlopRoots = false;
  SetRanges(ByRanks);
  SetBoard("9c 8c 7d");
  AddLines({"0 0"});
  BuildTreeFromSetUp();
  for (const BoardNode& turn : Context().boardTree->turns)
    for (const BoardNode& river : turn.rivers) {
      ASSERT_LE(river.tieRuns.size(), size_t(MaxTieGroups));
      int sum = 0;
      for (const uint16_t size : river.tieRuns) {
        for (int i = 1; i < size; ++i) EXPECT_EQ(river.strengths[size_t(sum + i)], river.strengths[size_t(sum)]);
        if (sum > 0) {
          EXPECT_LT(river.strengths[size_t(sum - 1)], river.strengths[size_t(sum)]);
        }
        sum += size;
      }
      EXPECT_EQ(sum, river.HandCount());
    }
}

TEST(ShowdownTables, LanesOfSmallGroups) {
  BoardNode entry;
  // Runs of 3, 10 and 17.
  for (int i = 0; i < 3; ++i) entry.strengths.push_back(5);
  for (int i = 0; i < 10; ++i) entry.strengths.push_back(6);
  for (int i = 0; i < 17; ++i) entry.strengths.push_back(9);
  BuildShowdownTables(entry);
  EXPECT_EQ(entry.tieRuns, (std::vector<uint16_t>{3, 10, 17}));
  ASSERT_EQ(entry.smallGroups.size(), 2u);
  const uint8_t three[8] = {1, 1, 1, 0, 0, 0, 0, 0};
  const uint8_t ten[8] = {1, 1, 0, 0, 0, 0, 0, 0};  // hands 8 and 9
  EXPECT_TRUE(std::equal(three, three + 8, entry.smallGroups[0].lanes));
  EXPECT_TRUE(std::equal(ten, ten + 8, entry.smallGroups[1].lanes));
  EXPECT_EQ(entry.smallGroups[1].firstHand, 3);
  ASSERT_EQ(entry.largeGroups.size(), 1u);
  EXPECT_EQ(entry.largeGroups[0].group, 2);
  EXPECT_EQ(entry.largeGroups[0].firstHand, 13);
  EXPECT_EQ(entry.largeGroups[0].size, 17);
}

// A river root with 13 hands: OOP holds the six aces, IP the six kings and
// QcQd. Root: bet 50 (call, fold) or check (check behind). Actions 2, 2, 1.
TEST_F(BuildFixture, RiverLayoutsAndElementCounts) {
  const CardMask queens = ParseCards("QcQd");
  SetRanges([&](int player, int combo) {
    CardMask hand = ComboMask[size_t(combo)];
    int lo = RankOf(std::countr_zero(hand)), hi = RankOf(63 - std::countl_zero(hand));
    if (player == 0) return lo == 12 && hi == 12 ? 1.0 : 0.0;
    return (lo == 11 && hi == 11) || hand == queens ? 2.0 : 0.0;
  });
  SetBoard("2c 3d 4h", "5s", "7c");
  AddLines({"50 50", "0 0"});
  BuildTreeFromSetUp();
  const SolverContext& context = Context();
  ASSERT_EQ(context.shapes.size(), 3u);
  for (int actions = 1; actions <= 2; ++actions) {
    const RiverLayout& layout = *context.shapes[size_t(actions)];
    EXPECT_EQ(layout.actions, actions);
    EXPECT_EQ(layout.groupCount, 1);
    EXPECT_EQ(layout.entryCount, 1);
    EXPECT_EQ(layout.elements, 13 * actions);
    EXPECT_EQ(layout.paddedElements, 16 * actions);
  }
  EXPECT_EQ(context.elementCounts[3], 2 * 13 + 2 * 13 + 13);
  EXPECT_EQ(context.storeBytes[3], 6 * (2 * 13 + 2 * 13 + 13));
  EXPECT_EQ(context.elementCounts[1] + context.elementCounts[2], 0);

  // Weights: 6 aces of weight 1 against 7 hands of weight 2, no card shared.
  EXPECT_EQ(context.rootWeights[0].size(), 13u);
  const auto& norm = context.normWeights;
  EXPECT_NEAR(std::accumulate(norm[0].begin(), norm[0].begin() + 13, 0.0), 6.0 / (6 * 14), 1e-7);
  EXPECT_NEAR(std::accumulate(norm[1].begin(), norm[1].begin() + 13, 0.0), 14.0 / (6 * 14), 1e-7);
  EXPECT_DOUBLE_EQ(context.maxWeight[0], 1.0);
  EXPECT_DOUBLE_EQ(context.maxWeight[1], 2.0);
}

// The same spot with and without isomorphism: every client deal finds, in
// the canonical tree, the hand list of the plain tree in other suits.
TEST_F(BuildFixture, IsomorphicTreesAgreeWithPlainTrees) {
  SetRanges(ByRanks);
  AddLines({"0 0"});
  for (const char* flop : {"Ah Kh 7h", "Qs Jh 2h", "Kd 7c 2h"}) {
    SCOPED_TRACE(flop);
    SetBoard(flop);
    IsomorphismFlopRoots = false;
    BuildTreeFromSetUp();
    std::unique_ptr<SolverContext> plain(GlobalContext);
    GlobalContext = nullptr;
    IsomorphismFlopRoots = true;
    BuildTreeFromSetUp();
    const SolverContext& iso = Context();
    ASSERT_TRUE(iso.flags & IsomorphismOnFlag);
    EXPECT_EQ(iso.clientFlop, ParseCards(flop));
    const BoardTree& canonical = *iso.boardTree;
    const BoardTree& client = *plain->boardTree;

    int turnWeights = 0;
    for (const BoardNode& turn : canonical.turns) {
      turnWeights += turn.weight;
      int riverWeights = 0;
      for (const BoardNode& river : turn.rivers) riverWeights += river.weight;
      EXPECT_EQ(riverWeights, 48);
    }
    EXPECT_EQ(turnWeights, 49);

    auto listOf = [](const BoardNode& entry, const SuitMap* back) {
      std::map<CardMask, uint32_t> list;
      for (size_t i = 0; i < entry.hands.size(); ++i)
        list[back ? MapCards(entry.hands[i], *back) : entry.hands[i]] = entry.strengths[i];
      return list;
    };
    for (const BoardNode& plainTurn : client.turns) {
      CardMask f = ParseCards(flop), t = CardBit(plainTurn.card), r = 0;
      const SuitMap back = CanonicalBack(f, t, r);
      const int turnIndex = canonical.cardToTurn[size_t(std::countr_zero(t))];
      ASSERT_GE(turnIndex, 0);
      const BoardNode& isoTurn = canonical.turns[size_t(turnIndex)];
      EXPECT_EQ(listOf(isoTurn, &back), listOf(plainTurn, nullptr)) << CardText(plainTurn.card);

      for (size_t k = 0; k < plainTurn.rivers.size(); k += 11) {
        const BoardNode& plainRiver = plainTurn.rivers[k];
        CardMask f2 = ParseCards(flop), t2 = CardBit(plainTurn.card), r2 = CardBit(plainRiver.card);
        const SuitMap riverBack = CanonicalBack(f2, t2, r2);
        ASSERT_EQ(t2, t);
        const int riverIndex = isoTurn.cardToRiver[size_t(std::countr_zero(r2))];
        ASSERT_GE(riverIndex, 0);
        EXPECT_EQ(listOf(isoTurn.rivers[size_t(riverIndex)], &riverBack), listOf(plainRiver, nullptr))
            << CardText(plainTurn.card) << " " << CardText(plainRiver.card);
      }
    }
  }
}

// The build reads its input only: a set-up changed after the gathering
// doesn't reach the tree. Stores come with the compression step.
TEST_F(BuildFixture, BuildReadsItsInputAndStoresComeAfter) {
  SetRanges(AllOnes);
  SetBoard("Qs Jh 2h");
  AddLines({"0 0"});
  const BuildInput input = GatherBuildInput();
  SetBoard("Ac Kd 7s");
  Ranges = {};
  EXPECT_EQ(CurrentTreeState(), TreeState::NoTree);
  BuildTree(input);
  EXPECT_EQ(CurrentTreeState(), TreeState::Built);
  EXPECT_EQ(TreeBoard.flop, ParseCards("Qs Jh 2h"));
  EXPECT_EQ(Context().clientFlop, ParseCards("Qs Jh 2h"));
  EXPECT_EQ(Context().comboWeights[1], std::vector<double>(HandCount, 1.0));
  SetUpTreeStores(Context(), CompressionLevel);
  EXPECT_EQ(CurrentTreeState(), TreeState::StoresSetUp);
  FreeTree();
  EXPECT_EQ(CurrentTreeState(), TreeState::NoTree);
}

TEST_F(BuildFixture, StoreSetUpFollowsTheRootStreetAndLevel) {
  SetRanges(AllOnes);
  AddLines({"0 0", "50 50"});

  // Turn root: levels are ignored for the stores. (The precision settings
  // tests check the payoff and regret scale.)
  SetBoard("Qs Jh 2h", "3c");
  CompressionLevel = 2;
  BuildTreeFromSetUp();
  EXPECT_EQ(ActualCompression, 2);
  EXPECT_EQ(Context().storeLevels[0], 0);
  EXPECT_EQ(Context().storeLevels[1], 0);
  EXPECT_EQ(Context().iterationCap, 9000);

  // Flop root at "fast": the sum level 3 brings the lower iteration cap.
  SetBoard("Qs Jh 2h");
  CompressionLevel = 5;
  BuildTreeFromSetUp();
  EXPECT_EQ(ActualCompression, 5);
  EXPECT_EQ(Context().storeLevels[0], 0);
  EXPECT_EQ(Context().storeLevels[1], 3);
  EXPECT_EQ(Context().iterationCap, 2200);
  EXPECT_DOUBLE_EQ(Context().strategyWeightExponent, 1.5);
  for (const TreeNode& node : Context().nodes) EXPECT_EQ(node.IsEnd(), node.store0 == nullptr);
}

TEST(CompressionChoice, AutomaticLevelByBudget) {
  struct Case {
    int64_t bytes, budget;
    int suits, level;
  };
  const Case cases[] = {
      {1000, 1001, 3, 5},  // fits whole: fast
      {1000, 1000, 3, 1},  // not below the budget, but 0.51 of it fits
      {900, 300, 3, 3},    // a third of the bytes
      {100, 32, 3, 4},     // exactly 0.32: the comparison fails
      {100, 52, 1, 2},     // monotone: 0.54 fails, 0.41 fits
      {100, 55, 1, 1},
      {100, 25, 2, 4},
      {100, 0, 2, 4},
  };
  for (const Case& c : cases)
    EXPECT_EQ(ResolveAutoLevel(c.bytes, c.budget, c.suits), c.level) << c.bytes << " " << c.budget << " " << c.suits;
  EXPECT_DOUBLE_EQ(CompressionRatio(2, 3), 0.33);
  EXPECT_DOUBLE_EQ(CompressionRatio(3, 5), 0.68);
  EXPECT_DOUBLE_EQ(CompressionRatio(3, -1), 1.0);
}

}  // namespace
