// Reading a node's rows whole: every action of a node on one deal, and
// the lock mask.
//
// A store delivers all actions of a node at once, so a handler that needs
// every action reads them here in one go rather than action by action.
// Both take the pass mutex and open river rows through RiverRowsGuard.
#pragma once

#include <vector>

// rows[action][combo] as ReadStrategy gives one of them.
void ReadAllStrategyRows(int nodeIndex, int turnCard, int riverCard, std::vector<std::vector<double>>& rows);
// 1 for a hand under a combo lock, 0 otherwise, not-a-number off the
// board's list; a whole-node lock shows as zeros.
void ReadLockVector(int nodeIndex, int turnCard, int riverCard, double* out);
