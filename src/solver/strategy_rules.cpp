#include "solver/strategy_rules.h"

#include <algorithm>
#include <cmath>

#include "solver/pass.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

namespace {

constexpr int FirstAveragedIteration = 61;

// Marks the hands the sums say nothing about; strategies are never negative.
constexpr float NoSumMark = -1.0f;

}  // namespace

float* FallbackRow::Storage(int actions) {
  if (actions <= 16) return few_;
  many_.resize(size_t(actions));
  return many_.data();
}

FallbackRow::FallbackRow(int actions, bool update) {
  const int n = std::max(actions, 1);
  float* row = Storage(n);
  if (!update || n == 1) {
    std::fill(row, row + n, 1.0f / float(n));
    return;
  }
  const double first = std::max(1.0 / n, 0.9);
  row[0] = float(first);
  for (int a = 1; a < n; ++a) row[a] = float((1.0 - first) / (n - 1));
}

FallbackRow::FallbackRow(int actions, float value) {
  const int n = std::max(actions, 1);
  float* row = Storage(n);
  std::fill(row, row + n, value);
}

double StrategySumWeight(const SolverContext& context) {
  if (context.averaging == 0) return 0.0;
  if (context.averaging != 1) return 1.0;
  const int t = context.iteration;
  if (t < FirstAveragedIteration) return 0.0;
  const double w = std::pow(double(t - 60), context.strategyWeightExponent);
  return std::min(w, context.strategyWeightCap);
}

bool StrategySumsDue(const SolverContext& context, const Pass& pass, int street) {
  if (!(float(StrategySumWeight(context)) > 0.0f)) return false;
  return street < 3 || (pass.riverStrategy && context.averageRiverNow);
}

bool AverageRiverFor(const SolverContext& context) {
  if (context.storeLevels[1] == 0) return true;
  const int u = context.iteration - FirstAveragedIteration;
  if (u < 0) return false;
  return u < 7 || u % 7 == 0;
}

void CurrentStrategy(TreeNode& node, int turn, int river, int hands, const float* fallback, FloatVec* out) {
  for (int a = 0; a < node.ActionCount(); ++a) vecops::Resize(out[a], hands);
  node.store0->GetStrategy(out, turn, river, fallback);
}

bool AverageIsCurrent(const SolverContext& context, const Pass& pass, const TreeNode& node) {
  if (context.averaging == 0 || !node.store1) return true;
  if (context.averaging == 1 && context.iteration < FirstAveragedIteration) return true;
  return node.street == 3 && !pass.riverStrategy;
}

void AverageStrategy(const SolverContext& context, const Pass& pass, TreeNode& node, int turn, int river, int hands,
                     FloatVec* out) {
  const int actions = node.ActionCount();
  const FallbackRow uniform(actions, false);
  if (AverageIsCurrent(context, pass, node)) {
    CurrentStrategy(node, turn, river, hands, uniform.data(), out);
    return;
  }
  const FallbackRow mark(actions, NoSumMark);
  for (int a = 0; a < actions; ++a) vecops::Resize(out[a], hands);
  node.store1->GetStrategy(out, turn, river, mark.data());
  const float* first = out[0].data;
  const int32_t firstMarked = vecops::FirstNegative(first, hands);
  if (firstMarked < 0) return;
  ActionRows current(actions);
  CurrentStrategy(node, turn, river, hands, uniform.data(), current.data());
  // Eight hands a step: the marked ones take the current strategy.
  int32_t h = firstMarked & ~7;
  for (; h + 8 <= hands; h += 8) {
    const __m256 marked = _mm256_cmp_ps(_mm256_loadu_ps(first + h), _mm256_setzero_ps(), _CMP_LT_OQ);
    if (_mm256_movemask_ps(marked) == 0) continue;
    for (int a = 0; a < actions; ++a) {
      float* row = out[a].data + h;
      _mm256_storeu_ps(row, lanes::Blend(_mm256_loadu_ps(row), _mm256_loadu_ps(current[a].data + h), marked));
    }
  }
  for (; h < hands; ++h) {
    if (!(first[h] < 0.0f)) continue;
    for (int a = 0; a < actions; ++a) out[a].data[h] = current[a].data[h];
  }
}
