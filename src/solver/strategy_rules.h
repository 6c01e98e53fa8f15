// What strategy a node plays, and when and how much the average takes in.
//
// Update passes play the current strategy (regret matching) with a fallback
// that puts 0.9 on the first action, the largest bet: an untouched hand
// probes aggression first rather than spreading evenly. Evaluation and
// queries play the average strategy, read from the strategy sums, with a
// uniform fallback. The average starts late (iteration 61) with a weight
// that grows as a power of the iteration, so that the poor early
// strategies count for little; flop and turn trees cap it, river trees do
// not. Readers outside the traversal (queries) use the same calls.
#pragma once

#include <vector>

#include "storage/float_vec.h"
#include "tree/solver_context.h"

struct Pass;

// The fallback row of an action count, for an update pass or for reading.
// Made at every node visit, so it lives on the stack up to 16 actions.
class FallbackRow {
 public:
  FallbackRow(int actions, bool update);
  // Every entry `value`: a marker row.
  FallbackRow(int actions, float value);
  const float* data() const { return many_.empty() ? few_ : many_.data(); }

 private:
  float* Storage(int actions);
  float few_[16];
  std::vector<float> many_;
};

// w of this iteration's strategy sums, 0 when none are added.
double StrategySumWeight(const SolverContext& context);
// Whether this iteration adds strategy sums at a node of this street.
bool StrategySumsDue(const SolverContext& context, const Pass& pass, int street);
// averageRiverNow for the iteration about to run.
bool AverageRiverFor(const SolverContext& context);

// Regret matching of store0 into out[actions] of `hands` each.
void CurrentStrategy(TreeNode& node, int turn, int river, int hands, const float* fallback, FloatVec* out);
// Whether the average strategy is the current one at this node, as the
// pass reads it (without river strategy sums the river has no other).
bool AverageIsCurrent(const SolverContext& context, const Pass& pass, const TreeNode& node);
// The average strategy: strategy sums normalised; where a hand's sums are
// all zero, the current strategy with the uniform fallback.
void AverageStrategy(const SolverContext& context, const Pass& pass, TreeNode& node, int turn, int river, int hands,
                     FloatVec* out);
