// The two players' ranges as the client gave them.
//
// A range is 1326 weights by ComboIndex: relative probabilities, never
// normalised and without an upper bound; negative weights are kept too.
// Setting a range touches no tree: build_tree copies what it needs, so a
// built tree goes on with the ranges it was built from. Combos that touch
// the board keep their weights here and drop out only at the build.
#pragma once

#include <array>
#include <string>
#include <vector>

// "OOP" and "hero" are player 0, "IP" and "villain" player 1, case
// included; anything else throws "incorrect player name" for the current
// command.
int ParsePlayer(const std::string& word);
// The words replies use for the players.
inline constexpr const char* PlayerNames[2] = {"OOP", "IP"};

// Weights below this (and above 0) are rounding noise of the client's
// export and are set to 0; the threshold itself stays.
inline constexpr double TinyWeight = 1e-05;

// One vector per player, empty until the first set_range, then HandCount
// long, by ComboIndex.
extern std::array<std::vector<double>, 2> Ranges;

// True if every weight of both ranges is a finite number. set_range takes
// whatever the number reader reads, "nan" and "inf" included; a tree built
// from such a weight would solve to not-a-number everywhere, so the build
// refuses it.
bool RangesAreFinite(const std::array<std::vector<double>, 2>& ranges);

// What StoreRange did, for the verbose line.
struct RangeSummary {
  double smallest;
  double largest;
  int nonzero;
  int roundedToZero;
};

// Replaces the player's range with HandCount weights given in HandOrderIndex
// order: tiny weights become 0, and so does every combo with a card of a
// rank below lowestRank (the deck's low card; 0 for the full deck).
RangeSummary StoreRange(int player, const std::vector<double>& weightsByHandOrder, int lowestRank);
