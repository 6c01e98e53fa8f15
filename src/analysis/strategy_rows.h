// Reading a node's rows whole: every action of a node on one deal, the
// lock mask, and the guard that makes river rows readable.
//
// A store delivers all actions of a node at once, so a handler that needs
// every action reads them here in one go rather than action by action.
// River rows of compressed stores live unpacked only per turn while a
// guard holds them open; the guard also takes that turn's deal mutex, so a
// job on the same turn can't write under the reader. Callers hold the
// pass mutex first, always in that order.
#pragma once

#include <mutex>
#include <vector>

#include "tree/node_path.h"

struct SolverContext;
struct TreeNode;

class RiverRowsGuard {
 public:
  // Does nothing off street 3 or without a turn index.
  RiverRowsGuard(SolverContext& context, TreeNode& node, int turn);
  ~RiverRowsGuard();
  RiverRowsGuard(const RiverRowsGuard&) = delete;
  RiverRowsGuard& operator=(const RiverRowsGuard&) = delete;

 private:
  SolverContext& context_;
  int turn_;
  std::mutex* mutex_ = nullptr;
  TreeNode* riverTop_ = nullptr;
};

// rows[action][combo] as ReadStrategy gives one of them.
void ReadAllStrategyRows(int nodeIndex, int turnCard, int riverCard, std::vector<std::vector<double>>& rows);
// 1 for a hand under a combo lock, 0 otherwise, not-a-number off the
// board's list; a whole-node lock shows as zeros.
void ReadLockVector(int nodeIndex, int turnCard, int riverCard, double* out);
// False for a place on a street whose card the path left out.
bool PathHasItsBoard(const NodePath& path);
