#include "storage/river_u16_store.h"

#include <algorithm>
#include <cmath>

#include "setup/settings.h"
#include "storage/kernels/u16_regret_matching.h"
#include "storage/kernels/u16_regret_update.h"
#include "storage/row_file.h"
#include "storage/store_rows.h"
#include "storage/tree_stream.h"

RiverU16Store::RiverU16Store(const RiverLayout* layout)
    : RiverRowStore(layout), entryScale(size_t(layout->entryCount), 1.0f) {}

bool RiverU16Store::Allocate() {
  std::fill(entryScale.begin(), entryScale.end(), 1.0f);
  return RiverRowStore::Allocate();
}

void RiverU16Store::GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) {
  const int32_t hands = HandCount(group, sub);
  const int actions = Actions();
  if (!HasRows(group)) {
    FillDefaultRows(out, actions, hands, defaultRow);
    return;
  }
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  for (int a = 0; a < actions; ++a) ResizeVector(out[a], hands);
  if (actions == 2) {
    U16Match2(Row<uint16_t>(group, entry, 0), Row<uint16_t>(group, entry, 1), out[0].data, out[1].data, hands, defaultRow);
  } else if (actions == 3) {
    U16Match3(Row<uint16_t>(group, entry, 0), Row<uint16_t>(group, entry, 1), Row<uint16_t>(group, entry, 2), out[0].data,
              out[1].data, out[2].data, hands, defaultRow);
  } else {
    std::vector<const uint16_t*> rows(static_cast<size_t>(actions));
    std::vector<float*> outRows(static_cast<size_t>(actions));
    for (int a = 0; a < actions; ++a) {
      rows[size_t(a)] = Row<uint16_t>(group, entry, a);
      outRows[size_t(a)] = out[a].data;
    }
    U16MatchN(rows.data(), nullptr, outRows.data(), actions, hands, defaultRow);
  }
}

bool RiverU16Store::GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                                          const float* defaultRow) {
  if (!BeginTimesReach(out, reach, group, sub)) return false;
  if (!reach.data) return true;
  const int actions = Actions();
  const int32_t hands = HandCount(group, sub);
  const int32_t entry = layout->EntryIndex(group, sub);
  PrefetchNextEntry<uint16_t>(group, entry);
  for (int a = 0; a < actions; ++a) ResizeVector(out[a], hands);
  if (actions == 2)
    U16TimesReach2(Row<uint16_t>(group, entry, 0), Row<uint16_t>(group, entry, 1), reach.data, out[0].data, out[1].data, hands,
                   defaultRow);
  else
    U16TimesReach3(Row<uint16_t>(group, entry, 0), Row<uint16_t>(group, entry, 1), Row<uint16_t>(group, entry, 2), reach.data,
                   out[0].data, out[1].data, out[2].data, hands, defaultRow);
  for (int a = 0; a < actions; ++a) ReleaseIfZero(out[a]);
  return true;
}

void RiverU16Store::SetRow(int group, int sub, int action, const float* row) {
  if (!HasRows(group)) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  uint16_t* target = Row<uint16_t>(group, entry, action);
  const int32_t hands = HandCount(group, sub);
  for (int i = 0; i < hands; ++i) {
    float x = std::trunc(row[i]);
    target[i] = x >= 65535.0f ? 65535 : x > 0.0f ? uint16_t(x) : 0;  // NaN gives 0
  }
}

// The weight narrowed to float after the entry's scale is applied.
float RiverU16Store::StepWeight(int32_t entry, double weight) const {
  return float(AdaptivePrecision ? weight * double(entryScale[size_t(entry)]) : weight);
}

void RiverU16Store::AverageRows(int group, int32_t entry, const TieGroups* tieGroups) {
  if (!tieGroups) return;
  const int32_t hands = layout->entries[size_t(entry)].hands;
  for (int a = 0; a < Actions(); ++a)
    AverageTies(Row<uint16_t>(group, entry, a), hands, tieGroups->data(), tieGroups->size());
}

void RiverU16Store::UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                                  const TieGroups* tieGroups, double weight, int32_t iteration) {
  if (!HasRows(group)) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const U16Step step = U16Step::ForWeight(StepWeight(entry, weight));
  const uint8_t* mask = locks[size_t(entry)].handMask.get();
  for (int a = 0; a < Actions(); ++a)
    U16RegretUpdate(Row<uint16_t>(group, entry, a), values[a].data, baseline.data, mask, hands, step);
  AverageRows(group, entry, tieGroups);
  RescaleCheck(group, sub, iteration);
}

bool RiverU16Store::UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values,
                                const TieGroups* tieGroups, double weight, const float* defaultRow, int32_t iteration) {
  const int start = BeginFused(group, sub, out, values);
  if (start < 0) return false;
  if (start == 0) {
    // No child ran: the node's value is zero and so is every difference.
    RescaleCheck(group, sub, iteration);
    return true;
  }
  const int actions = Actions();
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const U16Step step = U16Step::ForWeight(StepWeight(entry, weight));
  PrefetchNextEntry<uint16_t>(group, entry);
  ResizeVector(out, hands);
  if (actions == 2)
    U16Fused2(Row<uint16_t>(group, entry, 0), Row<uint16_t>(group, entry, 1), values[0].data, values[1].data, out.data, hands,
              step, defaultRow);
  else
    U16Fused3(Row<uint16_t>(group, entry, 0), Row<uint16_t>(group, entry, 1), Row<uint16_t>(group, entry, 2), values[0].data,
              values[1].data, values[2].data, out.data, hands, step, defaultRow);
  AverageRows(group, entry, tieGroups);
  RescaleCheck(group, sub, iteration);
  return true;
}

void RiverU16Store::Rescale(int group, int sub, float factor) {
  if (!HasRows(group)) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  for (int a = 0; a < Actions(); ++a) U16Scale(Row<uint16_t>(group, entry, a), hands, factor);
  entryScale[size_t(entry)] *= factor;
}

uint16_t RiverU16Store::MaxElement(int group, int sub) const {
  if (!Readable(group)) return 0;
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  uint16_t m = 0;
  for (int a = 0; a < Actions(); ++a) m = std::max(m, U16Max(Row<uint16_t>(group, entry, a), hands));
  return m;
}

void RiverU16Store::RescaleCheck(int group, int sub, int32_t iteration) {
  if (!AdaptivePrecision || iteration % 10 != 0) return;
  const uint16_t m = MaxElement(group, sub);
  if (m == 0) return;
  const int32_t entry = layout->EntryIndex(group, sub);
  const double target = std::exp2(PrecisionExponent) * 1024.0;
  if (target > m && entryScale[size_t(entry)] <= 32.0f) {
    // The smallest power of two that lifts m to the target, at most 8 a step.
    const double factor = std::min(std::exp2(std::ceil(std::log2(target / m))), 8.0);
    Rescale(group, sub, float(factor));
  }
  if (m > 60000) Rescale(group, sub, 0.5f);
}

void RiverU16Store::Save(TreeWriter& out) const {
  const bool packed = out.formatVersion >= PackedRowsFormatVersion;
  SaveLocks(out);
  EachRow([&](int group, int32_t entry, int action, int32_t hands) {
    const bool rows = Readable(group);
    if (packed && rows)
      WritePackedRow16(out, Row<uint16_t>(group, entry, action), hands);
    else if (packed)
      WriteEmptyPackedRow(out);
    else if (rows)
      out.Write(Row<uint16_t>(group, entry, action), size_t(hands) * sizeof(uint16_t));
    else
      WriteZeros(out, size_t(hands) * sizeof(uint16_t));
    return true;
  });
  // Files before the scales load them as 1: only ratios within an entry
  // are read, so its rows still say the same.
  if (out.formatVersion >= EntryScaleFormatVersion)
    out.Write(entryScale.data(), entryScale.size() * sizeof(float));
}

bool RiverU16Store::Load(TreeReader& in) {
  const bool packed = in.formatVersion >= PackedRowsFormatVersion;
  const bool scales = in.formatVersion >= EntryScaleFormatVersion;
  const uint64_t least = (packed ? uint64_t(RowCount()) * sizeof(uint16_t) : uint64_t(layout->elements) * 2) +
                         (scales ? entryScale.size() * sizeof(float) : 0);
  // Allocate sets every scale to 1, which older files keep.
  if (!LoadLocks(in) || !AllocateForLoad(in, least)) return false;
  // A group is cleared and written at its first row that holds anything; a
  // group of empty rows stays untouched, costing no memory, as it was saved.
  const bool read = EachRow([&](int group, int32_t entry, int action, int32_t hands) {
    if (!packed) {
      TouchGroup(group);
      return in.Read(Row<uint16_t>(group, entry, action), size_t(hands) * sizeof(uint16_t));
    }
    PackedRow16 bytes;
    if (!ReadPackedRow16(in, hands, bytes)) return false;
    if (bytes.Empty()) return true;
    TouchGroup(group);
    return UnpackPackedRow16(in, bytes, Row<uint16_t>(group, entry, action));
  });
  if (!read || (scales && !in.Read(entryScale.data(), entryScale.size() * sizeof(float)))) {
    Release();
    return false;
  }
  // The scale enters every step's weight and the rescale test.
  if (!AllFinitePositive(entryScale.data(), entryScale.size())) {
    in.Fail();
    Release();
    return false;
  }
  return true;
}
