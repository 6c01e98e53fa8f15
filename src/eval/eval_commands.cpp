#include "eval/eval_commands.h"

#include <bit>
#include <string>

#include "eval/evaluate_cards.h"
#include "eval/rule_settings.h"
#include "shell/command_error.h"
#include "shell/output.h"

namespace {

constexpr const char* RankSingular[13] = {"deuce", "trey", "four", "five",  "six",  "seven", "eight",
                                          "nine",  "ten",  "jack", "queen", "king", "ace"};
constexpr const char* RankPlural[13] = {"deuces", "treys", "fours", "fives",  "sixes", "sevens", "eights",
                                        "nines",  "tens",  "jacks", "queens", "kings", "aces"};

// Words of a value, read from its nibbles. The type comes through the hand
// type order, so a rearranged order still describes a flush as a flush. A
// straight whose top nibble is 3 is the one with the ace below, which on a
// shortened deck runs from the low card up.
std::string Describe(HandValue value) {
  auto s = [&](int i) { return std::string(RankSingular[RankNibble(value, i)]); };
  auto p = [&](int i) { return std::string(RankPlural[RankNibble(value, i)]); };
  switch (handTypeOrder[TypeField(value)]) {
    case TypeHighCard:
    case TypeFlush: return s(1) + " " + s(2) + " " + s(3) + " " + s(4) + " " + s(5) + " ";
    case TypePair: return p(1) + ", " + s(2) + " " + s(3) + " " + s(4) + " kicker";
    case TypeTwoPair: return p(1) + " and " + p(2) + ", " + s(3) + " kicker";
    case TypeTrips: return p(1) + ", " + s(2) + " " + s(3) + " kicker";
    case TypeStraight:
    case TypeStraightFlush: {
      std::string text;
      int top = RankNibble(value, 1);
      if (top == 3) {
        for (int rank = lowCard + 3; rank >= lowCard; --rank) text += std::string(RankSingular[rank]) + " ";
        return text + "ace";
      }
      for (int rank = top; rank > top - 5; --rank) text += std::string(RankSingular[rank]) + " ";
      return text;
    }
    case TypeFullHouse: return p(1) + " over " + p(2);
    case TypeQuads: return p(1) + ", " + s(2) + " kicker";
    default: return {};
  }
}

}  // namespace

void CmdEvalHand(const Tokens& tokens) {
  if (tokens.size() < 2) ThrowBadArguments(tokens);
  const std::string& text = tokens[1];
  CardMask mask = ParseCards(text);
  int count = std::popcount(mask);
  if (count < 5 || count > 7) ThrowBadArguments(tokens);

  int cards[7];
  int n = 0;
  for (CardMask rest = mask; rest; rest &= rest - 1) cards[n++] = std::countr_zero(rest);
  HandValue value = EvaluateCards(cards, n);
  PrintReply("%s | %d cards | %08x | %13s | %s\n", text.c_str(), n, value,
             HandTypeWords[handTypeOrder[TypeField(value)]], Describe(value).c_str());
}
