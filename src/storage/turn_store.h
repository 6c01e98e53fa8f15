// TurnStore: a turn node's rows, one FlopStore per dealt turn.
//
// Each dealt turn has its own hand list and hand count, so a child per turn
// (group) is simpler than one buffer with offsets, and turn rows are few
// next to river rows. Every operation goes to child `group`.
#pragma once

#include <vector>

#include "storage/flop_store.h"

class TurnStore : public StrategyStore {
 public:
  TurnStore(int actions, const std::vector<int32_t>& handCounts);

  bool Allocate() override;
  void Release() override;
  int32_t HandCount(int group, int sub) const override { return children[size_t(group)].hands; }
  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override {
    children[size_t(group)].GetStrategy(out, group, sub, defaultRow);
  }
  bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                             const float* defaultRow) override {
    return children[size_t(group)].GetStrategyTimesReach(out, reach, group, sub, defaultRow);
  }
  void SetRow(int group, int sub, int action, const float* row) override {
    children[size_t(group)].SetRow(group, sub, action, row);
  }
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override {
    children[size_t(group)].UpdateRegrets(group, sub, baseline, values, tieGroups, weight, iteration);
  }
  bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                   double weight, const float* defaultRow, int32_t iteration) override {
    return children[size_t(group)].UpdateFused(group, sub, out, values, tieGroups, weight, defaultRow,
                                               iteration);
  }
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override {
    children[size_t(group)].AccumulateStrategy(group, sub, values, weight);
  }
  int64_t EntryCount(int group) const override;
  LockRecord* GetLockRecord(int group, int sub) override { return children[size_t(group)].GetLockRecord(0, 0); }
  // The children's forms in group order, nothing between them.
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  std::vector<FlopStore> children;
};
