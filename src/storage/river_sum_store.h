// RiverSumStore: the older form of river strategy sums, for trees saved
// before the shift-per-row store existed.
//
// Sums are plain integers with no scale: 16 bits per element while the
// weights added to a group are small, 24 bits (four elements in twelve
// bytes, element k at byte 3k) once any entry's total weight passes 65535.
// A group widens as a whole, so that all rows of a dealt turn stay in one
// format. Kept only so that such trees load and solve on; new trees don't
// get it.
#pragma once

#include <vector>

#include "storage/river_store.h"

class RiverSumStore : public RiverStore {
 public:
  explicit RiverSumStore(const RiverLayout* layout);
  ~RiverSumStore() override;
  RiverSumStore(const RiverSumStore&) = delete;
  RiverSumStore& operator=(const RiverSumStore&) = delete;

  // Per group 2 * elements bytes, 16-byte aligned, zeroed; all narrow.
  bool Allocate() override;
  void Release() override;
  // Where a hand's total is zero: 1 / actions with a default row, else 0.
  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override;
  // Element = 10000 * value, truncated and clamped to the group's width.
  void SetRow(int group, int sub, int action, const float* row) override;
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override {}
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override;
  // The entries' lock records and a format byte; then per group its
  // groupWide byte and its rows packed with their lengths, 16 or 24 bits
  // wide. A format byte above formatByte throws "incompatible data".
  // The file keeps no entry weights: a loaded narrow entry counts the
  // largest total of one hand's rows as its weight, which never exceeds
  // the weight it had, so the group still widens before a sum saturates.
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  // Turns a narrow group into 24-bit elements.
  void WidenGroup(int group);
  uint32_t Element(int group, int64_t index) const;
  void SetElement(int group, int64_t index, uint32_t value);

  int32_t formatByte = 1;
  std::vector<uint8_t*> groupBuffers;
  std::vector<uint8_t> groupWide;
  std::vector<float> entryWeight;

 private:
  // Element index of (entry, action, hand 0) inside its group's buffer.
  int64_t RowStart(int group, int32_t entry, int action) const;
};
