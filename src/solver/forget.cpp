#include "solver/forget.h"

#include <algorithm>
#include <numeric>

#include "solver/boundary_walk.h"
#include "solver/solver_driver.h"
#include "tree/solver_context.h"
#include "tree/store_setup.h"

namespace {

// The reach of a rarely reached boundary is noise under the final
// strategies: below this share of the largest boundary's mass the record
// keeps the reach the solver summed over the whole run.
constexpr double ReachShareKept = 0.01;

// Reach sums are brought to this total, so that the tree file's scale of
// 150 per unit keeps every entry within 16 bits; a total below
// NoMass is left as it is.
constexpr float ReachSumTotal = 200.0f;
constexpr float NoMass = 1.1920929e-7f;

void ScaleReachSum(FloatVec& sum) {
  if (!sum.data) return;
  const double total = std::accumulate(sum.data, sum.data + sum.count, 0.0);
  if (!(total > double(NoMass))) return;
  const float scale = float(double(ReachSumTotal) / total);
  for (int32_t i = 0; i < sum.count; ++i) sum.data[i] *= scale;
}

double Mass(const std::vector<float>& reach) { return std::accumulate(reach.begin(), reach.end(), 0.0); }

// Drops the stores of every node from `street` down, and with them what
// the records knew of boards solved on demand.
void DropStores(SolverContext& context, int street) {
  for (TreeNode& node : context.nodes)
    if (node.street >= street) DropNodeStores(node);
}

// BuildStores adds the node's elements to its street's count; the counts
// stay those of the whole tree, which the estimates and the memory check
// of go are about.
void BuildKeepingCounts(SolverContext& context, TreeNode& node) {
  int64_t counts[4];
  std::copy(std::begin(context.elementCounts), std::end(context.elementCounts), counts);
  BuildStores(context, node);
  std::copy(counts, counts + 4, context.elementCounts);
}

// A node is settled once its stores have their memory.
bool Settled(const TreeNode& node) { return node.store0 && node.storesAllocated; }

bool BuildAndAllocate(SolverContext& context, TreeNode& node) {
  BuildKeepingCounts(context, node);
  return AllocateNodeStores(node);
}

}  // namespace

void Forget(SolverContext& context, int street) {
  // A river tree has no turn of its own: forgetting turns there forgets
  // what it has, its river.
  street = std::max(street, int(context.rootStreet));
  if ((context.flags & IncompleteTreeFlag) && context.forgottenStreet >= 0 && context.forgottenStreet <= street) {
    // Already forgotten from this street or a lower one: the lower one
    // stays in force, and the boards solved on demand since give their
    // memory back.
    DropStores(context, context.forgottenStreet);
    return;
  }

  // Later evaluation reads the values this measurement leaves at the deal
  // points, and calc_results its numbers.
  CalcResults(context);

  DropStores(context, street);
  std::vector<BoundaryFrame> frames = BoundaryWalk(context, street);

  double largest = 0.0;
  for (const BoundaryFrame& frame : frames)
    for (const std::vector<float>& reach : frame.reach) largest = std::max(largest, Mass(reach));
  const double threshold = ReachShareKept * largest;

  for (BoundaryFrame& frame : frames) {
    TreeNode& node = *frame.node;
    const int slot = street == 3 ? frame.turn : 0;
    if (!node.chance || slot < 0 || slot >= node.chanceCount) continue;
    ChanceRecord& record = node.chance[size_t(slot)];
    for (int p = 0; p < 2; ++p) {
      const std::vector<float>& reach = frame.reach[p];
      FloatVec& sum = record.reachSum[p];
      record.reachSumAbsent[p] = Mass(reach) > threshold ? 1 : 0;
      if (record.reachSumAbsent[p]) {
        ResizeVector(sum, int32_t(reach.size()));
        std::copy(reach.begin(), reach.end(), sum.data);
      }
      ScaleReachSum(sum);
    }
    record.frozen = 1;
  }

  context.flags |= IncompleteTreeFlag;
  context.flags &= ~NewTreeFlag;
  context.forgottenStreet = street;
}

void RebuildForgottenStreets(SolverContext& context) {
  const int street = context.forgottenStreet;
  if (street < 0) return;
  if (street <= 3) {
    for (TreeNode& node : context.nodes) {
      if (node.street < street || node.IsEnd() || Settled(node)) continue;
      BuildAndAllocate(context, node);
    }
    // The rows solved on demand now belong to the run that go continues.
    for (TreeNode& node : context.nodes)
      if (node.street >= street)
        for (int r = 0; r < node.chanceCount; ++r) node.chance[size_t(r)].resolvedCards = 0;
  }
  context.flags &= ~IncompleteTreeFlag;
}

bool RebuildSubtreeStores(SolverContext& context, TreeNode& node, bool force) {
  if (context.forgottenStreet < 0 || node.IsEnd()) return true;
  bool taken = true;
  if (force || !Settled(node)) taken = BuildAndAllocate(context, node);
  for (int32_t child : node.children) taken &= RebuildSubtreeStores(context, context.nodes[size_t(child)], force);
  return taken;
}
