// Hand categories and draws: what each of the 1326 hands is on one board.
//
// A report on a solved spot groups hands the way players talk about them:
// top pair, overpair, a flush draw. That is a matter of how the hand's
// value relates to the board's own value, so it is read from the plain
// evaluators and nothing else: the categories always speak the default
// rules, whatever hand type order, short deck or hole-card rule a tree is
// built with, and a card below the low card is classified like any other.
// Nothing here feeds the solver.
#pragma once

#include <array>
#include <cstdint>

#include "setup/cards.h"

inline constexpr int MadeCategoryCount = 19;
inline constexpr int DrawCategoryCount = 5;

// Made hand categories, by number; KickerClass and PairClass yield these.
enum MadeCategory : int {
  CategoryNothing = 0,
  CategoryKingHigh = 1,
  CategoryAceHigh = 2,
  CategoryLowPair = 3,
  CategoryThirdPair = 4,
  CategorySecondPair = 5,
  CategoryUnderpair = 6,
  CategoryTopPair = 7,
  CategoryTopPairTopKicker = 8,  // named in the list, never given: a top pair is top_pair whatever its kicker
  CategoryOverpair = 9,
  CategoryTwoPair = 10,
  CategoryTrips = 11,
  CategorySet = 12,
  CategoryStraight = 13,
  CategoryFlush = 14,
  CategoryFullHouse = 15,
  CategoryTopFullHouse = 16,
  CategoryQuads = 17,
  CategoryStraightFlush = 18,
};

enum DrawCategory : int {
  DrawNone = 0,
  DrawFourOuts = 1,
  DrawEightOuts = 2,
  DrawFlush = 3,
  DrawCombo = 4,
};

inline constexpr const char* MadeCategoryWords[MadeCategoryCount] = {
    "nothing",  "king_high", "ace_high", "low_pair", "third_pair",    "second_pair", "underpair",
    "top_pair", "top_pair_tp", "overpair", "two_pair", "trips",       "set",         "straight",
    "flush",    "fullhouse", "top_fullhouse", "quads", "straight_flush"};
inline constexpr const char* DrawCategoryWords[DrawCategoryCount] = {
    "no_draw", "4out_straight_draw", "8out_straight_draw", "flush_draw", "combo_draw"};

// A hand that shares a card with the board.
inline constexpr int ClashResult = -1;

// One result per hand, in HandOrderIndex order.
using HandResults = std::array<int, HandCount>;

// Made hand results: 100 times the category, or ClashResult. `board` holds
// three to five cards. A value pattern that no rule covers (trips on a
// board of two pair, which cannot arise) stops the process.
void ClassifyHands(CardMask board, HandResults& result);

// Draw categories, or ClashResult; on a five-card board every result is 0,
// the clashing hands' too, since no card is to come. An out is a card that
// lifts a hand below straight (below flush) to a straight (a flush or
// straight flush) that beats the new board on its own; an out that makes
// both counts for the flush.
void ClassifyDraws(CardMask board, HandResults& result);
