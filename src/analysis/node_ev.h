// NodeEv: what each hand of a player is worth at a node, by a walk of the
// subtree below it.
//
// Per-hand values are kept nowhere in the tree, so a query computes them:
// the reach of both players down to the node from the average strategies,
// then a traversal of the node's subtree in query mode that reads the
// player's values at the top. The walk starts at the node, not at the
// root, so a query deep in the tree costs only its subtree.
//
// The over-deals form answers for a betting line rather than a place:
// every card the path leaves out between the root street and the node's
// street is dealt in turn, and each hand's EV is the matchup-weighted mean
// over those deals. Deals that suit isomorphism makes equal are walked
// once.
#pragma once

// Cards are the client's, -1 for none. Both outputs are 1326 doubles by
// ComboIndex in the client's suits: EV counted from the half-way split of
// the pot, and matchups (own reach times the opponent's weight the hand can
// meet times the runouts still to come). Not-a-number for hands off the
// board and for hands of weight exactly 0 in the player's range as set.
// Throws "incorrect path" when a decision above the node lies on a street
// whose card is not given. Holds the pass mutex for its walks.
void NodeEv(int player, int nodeIndex, int turnCard, int riverCard, double* outEv, double* outMatchups);

// The same over every deal of the cards not given (-1) on the streets from
// the root's to the node's; named cards stay fixed.
void NodeEvOverDeals(int player, int nodeIndex, int turnCard, int riverCard, double* outEv, double* outMatchups);
