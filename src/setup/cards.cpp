#include "setup/cards.h"

#include <bit>
#include <cctype>
#include <cstring>

#include "setup/failure.h"

int32_t lowCard = 0;
std::string HandOrderText;
std::array<uint16_t, HandCount> HandOrderToCombo;
std::array<uint16_t, HandCount> ComboToHandOrder;
std::array<CardMask, HandCount> HandOrderMask;
std::array<CardMask, HandCount> ComboMask;
std::array<std::vector<uint16_t>, HandClassCount> HandClassCombos;

namespace {

// Cards numbered rank-major (2c 2d 2h 2s 3c ...) give the public order:
// entry a * (a - 1) / 2 + b is card a followed by card b, for b < a.
std::string MakeHandOrderText() {
  std::string text;
  text.reserve(HandCount * 5);
  for (int a = 1; a < 52; ++a)
    for (int b = 0; b < a; ++b) {
      if (!text.empty()) text.push_back(' ');
      text.push_back(RankLetters[a / 4]);
      text.push_back(SuitLetters[a % 4]);
      text.push_back(RankLetters[b / 4]);
      text.push_back(SuitLetters[b % 4]);
    }
  return text;
}

[[noreturn]] void ThrowInvalidCard() { throw CommandFailure("invalid card", false); }

}  // namespace

CardMask ParseCards(std::string_view text) {
  if (text.size() > 255) ThrowInvalidCard();
  CardMask mask = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    const char* rank = std::strchr(RankLetters, std::toupper(static_cast<unsigned char>(text[pos])));
    if (!rank || !*rank) ThrowInvalidCard();
    ++pos;
    if (pos >= text.size()) ThrowInvalidCard();
    const char* suit = std::strchr("CDHS", std::toupper(static_cast<unsigned char>(text[pos])));
    if (!suit || !*suit) ThrowInvalidCard();
    ++pos;
    Card card = int(rank - RankLetters) + 13 * int(suit - "CDHS");
    if (mask & CardBit(card)) ThrowInvalidCard();
    mask |= CardBit(card);
    while (pos < text.size() && text[pos] == ' ') ++pos;
  }
  return mask;
}

std::string CardText(Card card) {
  return {RankLetters[RankOf(card)], SuitLetters[SuitOf(card)]};
}

std::string FormatCards(CardMask mask) {
  std::string text;
  while (mask) {
    Card card = std::countr_zero(mask);
    mask &= mask - 1;
    if (!text.empty()) text.push_back(' ');
    text += CardText(card);
  }
  return text;
}

void BuildHandTables() {
  HandOrderText = MakeHandOrderText();
  for (auto& cell : HandClassCombos) cell.clear();
  for (int p = 0; p < HandCount; ++p) {
    CardMask mask = ParseCards(std::string_view(HandOrderText).substr(5 * size_t(p), 4));
    Card lo = std::countr_zero(mask);
    Card hi = 63 - std::countl_zero(mask);
    int c = ComboIndexOf(hi, lo);
    HandOrderToCombo[p] = uint16_t(c);
    ComboToHandOrder[c] = uint16_t(p);
    HandOrderMask[p] = mask;
    ComboMask[c] = mask;
    int rl = RankOf(lo), rh = RankOf(hi);
    int high = rl > rh ? rl : rh, low = rl > rh ? rh : rl;
    int cell = SuitOf(lo) != SuitOf(hi) || rl == rh ? high * 13 + low : low * 13 + high;
    HandClassCombos[cell].push_back(uint16_t(c));
  }
}
