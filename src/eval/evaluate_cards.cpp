#include "eval/evaluate_cards.h"

#include "eval/evaluators.h"
#include "eval/rule_settings.h"

namespace {

// With the deck shortened from below, the ace still plays under the lowest
// rank: it completes a straight with the deck's four lowest ranks. The fifth
// rank from below must be absent, or the ordinary straight above it, which
// the plain evaluator has already found, is the better hand.
bool HoldsLowStraight(uint32_t rankMask) {
  uint32_t v = rankMask >> lowCard;
  return (v & 0xF) == 0xF && (rankMask & 0x1000) && !(v & 0x10);
}

uint32_t FlushLaneOf(SuitLaneMask lanes) {
  for (int suit = 0; suit < 4; ++suit) {
    uint32_t lane = uint32_t(lanes >> 16 * suit) & 0x1FFF;
    if (__builtin_popcount(lane) >= 5) return lane;
  }
  return 0;
}

// The low straight replaces a hand only where the order places the straight
// (or, inside a flush lane, the straight flush) strictly above the hand's
// own type. Its first rank is 3 whatever the low card, below every other
// straight of the shortened deck.
HandValue ApplyLowStraight(HandValue value, SuitLaneMask lanes) {
  int type = TypeField(value);
  if (type == TypeFlush) {
    if (HoldsLowStraight(FlushLaneOf(lanes)) && handTypePosition[TypeStraightFlush] > handTypePosition[TypeFlush])
      return WheelStraightFlushValue;
    return value;
  }
  uint32_t ranks = uint32_t(lanes | lanes >> 16 | lanes >> 32 | lanes >> 48) & 0x1FFF;
  if (HoldsLowStraight(ranks) && handTypePosition[TypeStraight] > handTypePosition[type])
    return WheelStraightValue;
  return value;
}

}  // namespace

HandValue EvaluateLanes(SuitLaneMask lanes, int n) {
  HandValue value;
  switch (n) {
    case 3: value = Eval3(lanes); break;
    case 4: value = Eval4(lanes); break;
    case 5: value = Eval5(lanes); break;
    case 6: value = Eval6(lanes); break;
    case 7: value = Eval7(lanes); break;
    default: return 0;
  }
  if (lowCard > 0) value = ApplyLowStraight(value, lanes);
  if (!defaultHandTypeOrder)
    value = (value & ~0x0F000000u) | HandValue(handTypePosition[TypeField(value)]) << 24;
  return value;
}

HandValue EvaluateCards(const int* cards, int n) {
  if (n < 3 || n > 7) return 0;
  SuitLaneMask lanes = 0;
  for (int i = 0; i < n; ++i) lanes |= SuitLaneMask(1) << (16 * (cards[i] / 13) + cards[i] % 13);
  return EvaluateLanes(lanes, n);
}
