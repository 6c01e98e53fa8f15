// RiverShiftSumStore: river strategy sums in 16 bits with a shift per row.
//
// Strategy sums only grow, and their weights grow with the iteration, so a
// fixed scale would either waste the early iterations or overflow the late
// ones. Each row (entry, action) carries its own shift instead: its true
// values are the elements shifted left by rowShift, and when an addition
// would pass `limit` the row gives up its lowest bit. Only ratios between
// the rows of one entry are read, which is why rows may differ in shift.
// The block is one allocation, each group's part padded to 128 bytes so
// that threads on different turns never share a cache line. A store
// without a block works on group buffers lent to it one at a time (the
// compressed store's working rows); a null entry is a group with no rows.
#pragma once

#include <vector>

#include "storage/river_store.h"

class RiverShiftSumStore : public RiverStore {
 public:
  explicit RiverShiftSumStore(const RiverLayout* layout);
  ~RiverShiftSumStore() override;
  RiverShiftSumStore(const RiverShiftSumStore&) = delete;
  RiverShiftSumStore& operator=(const RiverShiftSumStore&) = delete;

  bool Allocate() override;
  void Release() override;
  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override;
  // As the 16-bit regret rows: value truncated and clamped, shift 0.
  void SetRow(int group, int sub, int action, const float* row) override;
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override {}
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override;
  // As RiverRowStore's: any number of threads may call it at once.
  void TouchGroup(int group);
  // The entries' lock records and a format byte; then per group the
  // weight scale (the store has one, written with every group and read
  // from the first), the group's row shifts and its rows packed with their
  // lengths. A format byte above formatByte throws "incompatible data".
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  uint32_t limit = 65535;
  int32_t formatByte = 1;
  std::vector<uint16_t*> groupBuffers;
  std::vector<uint8_t> rowShift;  // at entry * actions + action
  float weightScale = 16.0f;
  GroupTouch touched;

 private:
  uint16_t* Row(int group, int32_t entry, int action) const;
  void* block = nullptr;
};
