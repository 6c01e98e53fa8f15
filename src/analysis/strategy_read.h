// Reading a solved tree: the strategy of a node on a board, and the range
// of a player at a place. Every query goes through these; none reads a
// store's layout. Vectors are 1326 doubles by ComboIndex in the client's
// suits; a hand that can't occur on the board is not-a-number. Reads take
// the pass mutex, so a query waits for a running pass rather than read
// rows half updated; the strategy is read as it stands, running or not.
#pragma once

#include <string>
#include <vector>

struct NodePath;

// Probability of `action` at the node for every combo, on the board of the
// client's cards (-1 for none).
void ReadStrategy(int nodeIndex, int action, int turnCard, int riverCard, double* out);
// The range of player at the place named by the path text: the built range
// times the player's own rows down the line, each entry at most 1; an
// empty text gives the built range untouched. Throws "incorrect path" for
// a place on a street whose card the path leaves out.
void RangeAtPath(int player, const std::string& pathText, double* out);
// The share of the player's built range that reaches the place; hands the
// place's board blocks count on neither side.
double ReachShare(int player, const std::string& pathText);
// HandOrderIndex values in the order show_strategy_pp lists hands: the
// acting player's hands in range by equity against any two cards on the
// path's board, best first. It depends on the cards only.
std::vector<int> HandRanking(const NodePath& path);
