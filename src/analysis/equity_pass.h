// EquityPass: the showdown equity of every hand of a player against the
// other player's range, all remaining cards dealt out.
//
// It is pure card equity, an exact enumeration over the deals of a
// BoardTree: no betting enters. The pass runs on the hand lists of the
// tree, which on rivers are sorted by strength, so a river costs one walk
// over its tie runs (the showdown kernel with +1 for a win) rather than a
// loop over pairs of hands; deeper boards gather, recurse and scatter like
// the solver's chance steps. That keeps the floats and the isomorphic
// weights of the solver, so the numbers agree with its own showdowns.
// `calc_eq` runs it on a BoardTree made for the moment; a built tree lends
// its own, in its canonical suits.
#pragma once

struct SolverContext;

// Ranges are 1326 weights by ComboIndex in the client's suits; cards are
// the client's, -1 for none. The board in force is the deepest one the
// cards name. outEquity is the share of the pot won, a tie counting half;
// outMatchups the hand's weight times the opponent's compatible weight
// times the runouts still to come. Both are not-a-number for hands off the
// board's list and for hands of weight exactly 0 in
// tree.comboWeights[player] (the range as set).
void EquityPass(const SolverContext& tree, int player, int turnCard, int riverCard, const double* ownRange,
                const double* oppRange, double* outEquity, double* outMatchups);
