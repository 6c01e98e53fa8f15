// RiverU16Store: river regrets as unsigned 16-bit integers with a scale per
// entry.
//
// Half the bytes of floats, on the rows that decide whether a flop spot
// fits in memory. An element is regret * tree scale * entryScale[e]; only
// ratios within an entry are ever read, so nothing undoes the scale. With
// AdaptivePrecision on, the scale enters every step and the rescale check
// (every tenth iteration) keeps an entry's largest element between the
// target 2^PrecisionExponent * 1024 and 60000: small regrets keep their
// resolution, large ones never reach the top of the range. Steps are
// integers, so one unit is the smallest change (see u16_regret_update.h).
#pragma once

#include <vector>

#include "storage/river_store.h"

class RiverU16Store : public RiverRowStore {
 public:
  explicit RiverU16Store(const RiverLayout* layout);

  bool Allocate() override;
  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override;
  bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                             const float* defaultRow) override;
  // Element = value truncated, clamped to 0..65535; no scale applied.
  void SetRow(int group, int sub, int action, const float* row) override;
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override;
  bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                   double weight, const float* defaultRow, int32_t iteration) override;
  // Regret rows only: strategy sums never live here.
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override {}
  int32_t ElementBytes() const override { return 2; }
  // The entries' lock records, every row packed with its length, then
  // entryScale. Both read and write the form of the stream's version:
  // raw rows before PackedRowsFormatVersion, no scales (all 1) before
  // EntryScaleFormatVersion.
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  // Multiplies the entry's rows and its scale by factor.
  void Rescale(int group, int sub, float factor);
  uint16_t MaxElement(int group, int sub) const;
  // Growth or halving of the entry, on the iterations (every tenth) and
  // setting that ask for it.
  void RescaleCheck(int group, int sub, int32_t iteration);

  std::vector<float> entryScale;

 private:
  float StepWeight(int32_t entry, double weight) const;
  void AverageRows(int group, int32_t entry, const TieGroups* tieGroups);
};

// Format versions of tree files that changed the 16-bit regret rows: from
// the first they are packed, from the second their entry scales are saved
// (before it they load as 1, here and in the compressed store).
inline constexpr int32_t PackedRowsFormatVersion = 4;
inline constexpr int32_t EntryScaleFormatVersion = 9;
