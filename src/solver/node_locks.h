// Fixing a player's play at a node: whole-node locks, hand locks and
// written strategy rows.
//
// A fixed strategy is not a separate structure: the wanted frequencies are
// written into the node's regret rows, which regret matching reads back
// like any other, and a lock keeps the passes from changing them. Cards
// are the client's (-1 for none) and vectors are 1326 doubles by
// ComboIndex in the client's suits; everything is mapped to the tree's
// canonical suits and board entries here. Callers hold PassMutex, so flop
// and turn rows never change under a running pass; river rows also take
// the turn's deal mutex through RiverRowsGuard.
#pragma once

// False (and nothing done) when the cards don't name one board the node
// has rows for.
bool SetNodeLock(int nodeIndex, int turnCard, int riverCard, bool lock);
// Writes values (times 1000) as the regret row of the action; with the
// strategy sums running, that action's sums are wiped so the average too
// shows the written play.
bool SetStrategyRow(int nodeIndex, int action, int turnCard, int riverCard, const double* values);
// Hands with a non-zero value are locked, the others free.
bool SetComboLock(int nodeIndex, int turnCard, int riverCard, const double* values);
