// FlopStore: float rows of a node with one board; also the per-turn child
// of a TurnStore.
//
// One row per action, taken from the scalable allocator only at Allocate,
// so that a built tree costs nothing until it is solved. Until then, or
// for ever on a street that was given up, GetStrategy answers with the
// default row. Running out of memory for a row is not reported back: it
// ends the process, since a tree half allocated by rows can't be solved.
// The weight of UpdateRegrets is ignored: float regrets are kept in chips,
// and only the integer stores need a scale.
#pragma once

#include <vector>

#include "storage/strategy_store.h"

class FlopStore : public StrategyStore {
 public:
  FlopStore(int actions, int hands);

  bool Allocate() override;
  void Release() override;
  int32_t HandCount(int group, int sub) const override { return hands; }
  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override;
  bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                             const float* defaultRow) override {
    return false;
  }
  void SetRow(int group, int sub, int action, const float* row) override;
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override;
  bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                   double weight, const float* defaultRow, int32_t iteration) override {
    return false;
  }
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override;
  int64_t EntryCount(int group) const override { return int64_t(actions) * hands; }
  LockRecord* GetLockRecord(int group, int sub) override { return &lock; }
  // The lock record, then each action's `hands` floats; a store never
  // allocated saves zeros.
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  bool IsAllocated() const { return !rows.empty() && rows[0].data != nullptr; }

  int32_t actions;
  int32_t hands;
  std::vector<FloatVec> rows;
  LockRecord lock;
};
