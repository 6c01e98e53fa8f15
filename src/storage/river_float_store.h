// RiverFloatStore: river rows as plain 32-bit floats.
//
// The store of river nodes in trees rooted on the turn or river, where the
// rows are few enough, and the strategy sums of flop trees at compression
// "none". Its arithmetic is that of FlopStore on the entry's rows, with the
// entry's lock mask; the weight of UpdateRegrets is ignored likewise.
#pragma once

#include "storage/river_store.h"

class RiverFloatStore : public RiverRowStore {
 public:
  explicit RiverFloatStore(const RiverLayout* layout) : RiverRowStore(layout) {}

  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override;
  void SetRow(int group, int sub, int action, const float* row) override;
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override;
  // Two and three actions without locked hands: strategy, value and step
  // in one pass over the rows (FloatFused). Not where the 512-bit
  // multiply-add would make the value, whose rounding differs.
  // Two and three actions: the strategy times the reach in one pass.
  bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                             const float* defaultRow) override;
  bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                   double weight, const float* defaultRow, int32_t iteration) override;
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override;
  int32_t ElementBytes() const override { return 4; }
  // The entries' lock records, then every row as `hands` floats.
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;
};
