#include "eval/hand_categories.h"

#include <bit>

#include "eval/evaluate_cards.h"
#include "eval/evaluators.h"
#include "setup/failure.h"

namespace {

HandValue EvalBoard(SuitLaneMask lanes, int cards) {
  return cards == 3 ? Eval3(lanes) : cards == 4 ? Eval4(lanes) : Eval5(lanes);
}

HandValue EvalWithHand(SuitLaneMask lanes, int cards) {
  return cards == 5 ? Eval5(lanes) : cards == 6 ? Eval6(lanes) : Eval7(lanes);
}

// Where a hole card's rank stands among the board's ranks: two for every
// board rank above it, one more if it pairs one. Odd means it pairs the
// board; 1 the top rank, 3 the second.
int Place(int rank, uint32_t boardRanks) {
  uint32_t above = boardRanks >> (rank + 1);
  return 2 * std::popcount(above) + int(boardRanks >> rank & 1);
}

// A hand that pairs the board (or holds a pocket pair) by where it stands:
// above the board, pairing its top rank, between, and so on down.
MadeCategory PairClass(int place) {
  switch (place) {
    case 0: return CategoryOverpair;
    case 1: return CategoryTopPair;
    case 2: return CategoryUnderpair;
    case 3: return CategorySecondPair;
    case 4:
    case 5: return CategoryThirdPair;
    default: return CategoryLowPair;
  }
}

// What the hand adds to the board: the first rank nibble where the hand's
// value outdoes the board's, and only an ace or a king counts.
MadeCategory KickerClass(HandValue hand, HandValue board) {
  for (int i = 1; i <= 5; ++i) {
    int rank = RankNibble(hand, i);
    if (rank > RankNibble(board, i)) return rank == 12 ? CategoryAceHigh : rank == 11 ? CategoryKingHigh : CategoryNothing;
  }
  return CategoryNothing;
}

// The board's own value, read once for all hands.
struct BoardFacts {
  HandValue value;
  HandType type;
  int first, second;
  uint32_t ranks;
};

MadeCategory Categorise(HandValue v, const BoardFacts& board, int place) {
  const HandType t = TypeField(v);
  const HandType b = board.type;
  const int handFirst = RankNibble(v, 1), handSecond = RankNibble(v, 2);
  switch (t) {
    case TypeHighCard: return KickerClass(v, board.value);
    case TypePair:
      if (b == TypeHighCard) return PairClass(place);
      if (b == TypePair) return KickerClass(v, board.value);
      break;
    case TypeTwoPair:
      if (b == TypeHighCard) return CategoryTwoPair;
      if (b == TypePair) return PairClass(place);
      if (b == TypeTwoPair)
        return handFirst > board.first || handSecond > board.second ? PairClass(place) : KickerClass(v, board.value);
      break;
    case TypeTrips:
      if (b == TypeHighCard) return CategorySet;
      if (b == TypePair) return CategoryTrips;
      if (b == TypeTrips) return KickerClass(v, board.value);
      break;
    case TypeStraight: return b < TypeStraight || v > board.value ? CategoryStraight : KickerClass(v, board.value);
    case TypeFlush: return b < TypeFlush ? CategoryFlush : CategoryNothing;
    case TypeFullHouse:
      if (b < TypeFullHouse) return CategoryFullHouse;
      if (b == TypeFullHouse && handFirst > board.first) return CategoryTopFullHouse;
      if (b == TypeFullHouse && handSecond > board.second) return CategoryFullHouse;
      return CategoryNothing;
    case TypeQuads: return b < TypeQuads ? CategoryQuads : KickerClass(v, board.value);
    case TypeStraightFlush:
      return b == TypeStraightFlush && v <= board.value ? CategoryNothing : CategoryStraightFlush;
    default: break;
  }
  // A hand never ranks below its board, and every pattern at or above it
  // is covered: reaching here means the evaluators or the rules are wrong,
  // and a report built on wrong categories must not go out.
  FatalStop("ERROR: bug in hand classifier, please report!\n");
}

BoardFacts ReadBoard(CardMask board) {
  const SuitLaneMask lanes = ToSuitLaneMask(board);
  const HandValue value = EvalBoard(lanes, std::popcount(board));
  const uint32_t ranks = uint32_t(lanes | lanes >> 16 | lanes >> 32 | lanes >> 48) & 0x1FFF;
  return {value, TypeField(value), RankNibble(value, 1), RankNibble(value, 2), ranks};
}

// A hand's two cards in lanes, and whether it can still improve.
struct LiveHand {
  SuitLaneMask lanes;
  int index;  // HandOrderIndex
  HandType oldType;
};

// Counts the outs of every live hand over all cards that can come. The
// card count is a template argument so that the inner loop calls one
// evaluator directly: it runs up to 49 times over 1326 hands.
template <int HandAndNewBoardCards>
void CountOuts(CardMask board, const LiveHand* hands, int handCount, uint8_t* straightOuts, uint8_t* flushOuts) {
  const SuitLaneMask boardLanes = ToSuitLaneMask(board);
  for (Card k = 0; k < 52; ++k) {
    if (board & CardBit(k)) continue;
    const SuitLaneMask cardLane = ToSuitLaneMask(CardBit(k));
    const SuitLaneMask newBoard = boardLanes | cardLane;
    // On a flop the new board is four cards, which make no straight or
    // flush of their own: every straight or flush of the hand beats it.
    const HandValue boardAlone = HandAndNewBoardCards == 7 ? Eval5(newBoard) : 0;
    for (int i = 0; i < handCount; ++i) {
      const LiveHand& hand = hands[i];
      if (hand.lanes & cardLane) continue;
      const SuitLaneMask all = hand.lanes | newBoard;
      const HandValue value = HandAndNewBoardCards == 7 ? Eval7(all) : Eval6(all);
      if (value <= boardAlone) continue;
      const HandType type = TypeField(value);
      straightOuts[i] += type == TypeStraight && hand.oldType < TypeStraight;
      flushOuts[i] += (type == TypeFlush || type == TypeStraightFlush) && hand.oldType < TypeFlush;
    }
  }
}

}  // namespace

void ClassifyHands(CardMask board, HandResults& result) {
  const BoardFacts facts = ReadBoard(board);
  const int cards = std::popcount(board) + 2;
  const SuitLaneMask boardLanes = ToSuitLaneMask(board);
  for (int p = 0; p < HandCount; ++p) {
    const CardMask hand = HandOrderMask[size_t(p)];
    if (hand & board) {
      result[size_t(p)] = ClashResult;
      continue;
    }
    const HandValue value = EvalWithHand(boardLanes | ToSuitLaneMask(hand), cards);
    const Card lo = std::countr_zero(hand), hi = 63 - std::countl_zero(hand);
    const int rankA = RankOf(lo), rankB = RankOf(hi);
    const int placeHigh = Place(rankA > rankB ? rankA : rankB, facts.ranks);
    const int placeLow = Place(rankA > rankB ? rankB : rankA, facts.ranks);
    const int place = placeHigh & 1 ? placeHigh : placeLow;
    result[size_t(p)] = 100 * int(Categorise(value, facts, place));
  }
}

void ClassifyDraws(CardMask board, HandResults& result) {
  const int boardCards = std::popcount(board);
  if (boardCards >= 5) return;
  const SuitLaneMask boardLanes = ToSuitLaneMask(board);

  // Only hands below a flush can gain an out; the others are settled here.
  LiveHand live[HandCount];
  int liveCount = 0;
  for (int p = 0; p < HandCount; ++p) {
    const CardMask hand = HandOrderMask[size_t(p)];
    if (hand & board) {
      result[size_t(p)] = ClashResult;
      continue;
    }
    result[size_t(p)] = DrawNone;
    const SuitLaneMask lanes = ToSuitLaneMask(hand);
    const HandType oldType = TypeField(EvalWithHand(lanes | boardLanes, boardCards + 2));
    if (oldType < TypeFlush) live[liveCount++] = {lanes, p, oldType};
  }

  uint8_t straightOuts[HandCount] = {};
  uint8_t flushOuts[HandCount] = {};
  if (boardCards == 3)
    CountOuts<6>(board, live, liveCount, straightOuts, flushOuts);
  else
    CountOuts<7>(board, live, liveCount, straightOuts, flushOuts);

  for (int i = 0; i < liveCount; ++i) {
    const int straight = straightOuts[i], flush = flushOuts[i];
    int draw = DrawNone;
    if (straight && flush)
      draw = DrawCombo;
    else if (flush)
      draw = DrawFlush;
    else if (straight)
      draw = straight / 4;
    result[size_t(live[i].index)] = draw;
  }
}
