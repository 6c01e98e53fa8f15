#include "tree/board_tree_build.h"

#include <omp.h>

#include <algorithm>
#include <bit>

#include "eval/hand_values.h"
#include "tree/isomorphism.h"
#include "tree/showdown_tables.h"

namespace {

constexpr CardMask SuitLane = 0x1FFF;

bool SuitIsLive(CardMask board, int suit) { return (board >> (13 * suit) & SuitLane) != 0; }

// Without isomorphism: every card not on the board, suit by suit, ranks
// from the deck's low card up.
std::vector<DealtCard> PlainDeals(CardMask board, int lowCard) {
  std::vector<DealtCard> deals;
  deals.reserve(52);
  for (int suit = 0; suit < 4; ++suit)
    for (int rank = lowCard; rank < 13; ++rank) {
      Card card = rank + 13 * suit;
      if (!(board & CardBit(card))) deals.push_back({card, 1});
    }
  return deals;
}

std::vector<DealtCard> Deals(CardMask board, int setCard, int lowCard, bool isomorphism) {
  if (setCard >= 0) return {{setCard, 1}};
  return isomorphism ? IsomorphicDeals(board, lowCard) : PlainDeals(board, lowCard);
}

void SortRivers(std::vector<DealtCard>& rivers, CardMask flopAndTurn) {
  const int flush = FlushSuit(flopAndTurn);
  auto key = [flush](const DealtCard& deal) {
    return (SuitOf(deal.card) == flush ? 64 : 0) + RankOf(deal.card) * 4 + SuitOf(deal.card);
  };
  std::stable_sort(rivers.begin(), rivers.end(),
                   [&key](const DealtCard& a, const DealtCard& b) { return key(a) < key(b); });
}

void BuildTurnEntry(BoardNode& turn, const BoardTree& tree, const BoardTreeInput& input) {
  turn.board = tree.board | CardBit(turn.card);
  BuildEntryHands(turn, tree.hands);
  if (turn.weight > 1) BuildSwapIndexes(turn, tree.comboToHand);

  std::vector<DealtCard> deals = Deals(turn.board, input.river, input.lowCard, input.isomorphism);
  SortRivers(deals, turn.board);
  turn.cardToRiver.assign(52, -1);
  turn.rivers.resize(deals.size());
  turn.riverHandCounts.resize(deals.size());
  for (size_t r = 0; r < deals.size(); ++r) {
    BoardNode& river = turn.rivers[r];
    river.card = deals[r].card;
    river.weight = deals[r].weight;
    river.board = turn.board | CardBit(river.card);
    BuildEntryHands(river, turn.hands);
    if (river.weight > 1) BuildSwapIndexes(river, turn.comboToHand);
    BuildShowdownTables(river);
    turn.cardToRiver[size_t(river.card)] = int16_t(r);
    turn.riverHandCounts[r] = river.HandCount();
  }
}

}  // namespace

int FlushSuit(CardMask flopAndTurn) {
  int best = -1;
  int bestCount = 1;  // a flush suit needs at least two cards
  for (int suit = 0; suit < 4; ++suit) {
    int count = std::popcount(flopAndTurn >> (13 * suit) & SuitLane);
    if (count > bestCount) {
      best = suit;
      bestCount = count;
    }
  }
  return best;
}

uint32_t FiveCardSecondKey(CardMask hand, CardMask board) {
  Card first = std::countr_zero(hand);
  Card second = 63 - std::countl_zero(hand);
  // hi is the card of the higher rank; of a pair, the lower card number.
  Card hi = RankOf(second) > RankOf(first) ? second : first;
  Card lo = hi == first ? second : first;
  uint32_t f;
  if (SuitOf(hi) == SuitOf(lo)) {
    f = 64 + (SuitIsLive(board, SuitOf(hi)) ? uint32_t(4 - SuitOf(hi)) : 0);
  } else {
    f = (SuitIsLive(board, SuitOf(hi)) ? uint32_t(4 - SuitOf(hi)) * 8 : 0) +
        (SuitIsLive(board, SuitOf(lo)) ? uint32_t(4 - SuitOf(lo)) : 0);
  }
  return uint32_t(RankOf(hi) * 13 + RankOf(lo)) * 256 + f;
}

void BuildEntryHands(BoardNode& entry, const std::vector<CardMask>& parentHands) {
  const size_t parentCount = parentHands.size();
  std::vector<CardMask> combos(parentCount);
  for (size_t i = 0; i < parentCount; ++i) combos[i] = parentHands[i] & entry.board ? 0 : parentHands[i];
  const std::vector<uint32_t> values = ComputeHandValues(entry.board, combos);
  const bool fiveCards = std::popcount(entry.board) == 5;

  // One 64-bit key per live hand: strength, the five-card tie-break, and
  // the parent position last, which makes the sort stable and the keys
  // distinct. Real values stay below 2^31, so unsigned order is the signed
  // order the lists are defined by.
  std::vector<uint64_t> keys;
  keys.reserve(parentCount);
  for (size_t i = 0; i < parentCount; ++i) {
    if (!combos[i]) continue;
    uint64_t second = fiveCards ? FiveCardSecondKey(combos[i], entry.board) : 0;
    keys.push_back(uint64_t(values[i]) << 32 | second << 11 | i);
  }
  std::sort(keys.begin(), keys.end());

  const size_t count = keys.size();
  entry.hands.resize(count);
  entry.strengths.resize(count);
  entry.handCards.resize(count);
  entry.parentIndex.assign(1, std::vector<uint16_t>(count));
  entry.comboToHand.assign(HandCount, NoHand);
  for (size_t k = 0; k < count; ++k) {
    const size_t parent = size_t(keys[k] & 0x7FF);
    const CardMask hand = combos[parent];
    entry.hands[k] = hand;
    entry.strengths[k] = uint32_t(keys[k] >> 32);
    entry.parentIndex[0][k] = uint16_t(parent);
    const uint16_t cards = HandCardsOf(hand);
    entry.handCards[k] = cards;
    entry.comboToHand[size_t(ComboIndexOf(cards >> 8, cards & 0xFF))] = uint16_t(k);
  }
}

std::unique_ptr<BoardTree> BuildBoardTree(const BoardTreeInput& input) {
  auto tree = std::make_unique<BoardTree>();
  BoardTree& boards = *tree;
  boards.board = input.flop;
  boards.cardToTurn.assign(52, -1);

  // The universe: hands that miss the flop and that some range plays.
  const std::vector<double>& oop = (*input.ranges)[0];
  const std::vector<double>& ip = (*input.ranges)[1];
  boards.comboToHand.assign(HandCount, NoHand);
  for (int c = 0; c < HandCount; ++c) {
    const CardMask hand = ComboMask[size_t(c)];
    if (hand & input.flop) continue;
    if (!(oop[size_t(c)] > 0.0 || ip[size_t(c)] > 0.0)) continue;
    boards.comboToHand[size_t(c)] = uint16_t(boards.hands.size());
    boards.hands.push_back(hand);
    boards.handCards.push_back(HandCardsOf(hand));
  }

  const std::vector<DealtCard> deals = Deals(input.flop, input.turn, input.lowCard, input.isomorphism);
  const int turnCount = int(deals.size());
  boards.turns.resize(size_t(turnCount));
  boards.turnHandCounts.resize(size_t(turnCount));
  boards.riverHandCounts.resize(size_t(turnCount));
  boards.runouts = std::make_unique<RunoutTables>(size_t(turnCount));
  for (int t = 0; t < turnCount; ++t) {
    boards.turns[size_t(t)].card = deals[size_t(t)].card;
    boards.turns[size_t(t)].weight = deals[size_t(t)].weight;
    boards.cardToTurn[size_t(deals[size_t(t)].card)] = int16_t(t);
  }

  // Each turn entry touches only itself and its own slots of the counts.
  const int threads = std::max(1, std::min({4, input.threads, turnCount}));
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int t = 0; t < turnCount; ++t) {
    BoardNode& turn = boards.turns[size_t(t)];
    BuildTurnEntry(turn, boards, input);
    boards.turnHandCounts[size_t(t)] = turn.HandCount();
    boards.riverHandCounts[size_t(t)] = turn.riverHandCounts;
  }
  return tree;
}
