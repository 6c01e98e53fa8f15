#include "storage/river_float_store.h"

#include <cstring>
#include <vector>

#include "setup/avx512_forms.h"
#include "storage/kernels/float_regret_update.h"
#include "storage/row_file.h"
#include "storage/store_rows.h"
#include "storage/tree_stream.h"

void RiverFloatStore::GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) {
  const int32_t hands = HandCount(group, sub);
  if (!HasRows(group)) {
    FillDefaultRows(out, Actions(), hands, defaultRow);
    return;
  }
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  const float* rowData[64];
  std::vector<const float*> many;
  const float** rows = rowData;
  if (Actions() > 64) {
    many.resize(size_t(Actions()));
    rows = many.data();
  }
  for (int a = 0; a < Actions(); ++a) rows[a] = Row<float>(group, entry, a);
  MatchFloatRows(rows, out, Actions(), hands, defaultRow);
}

void RiverFloatStore::SetRow(int group, int sub, int action, const float* row) {
  if (!HasRows(group)) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  std::memcpy(Row<float>(group, entry, action), row, size_t(HandCount(group, sub)) * sizeof(float));
}

void RiverFloatStore::UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                                    const TieGroups* tieGroups, double weight, int32_t iteration) {
  if (!HasRows(group)) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const uint8_t* mask = locks[size_t(entry)].handMask.get();
  for (int a = 0; a < Actions(); ++a)
    FloatRegretUpdate(Row<float>(group, entry, a), values[a].data, baseline.data, mask, hands);
}

bool RiverFloatStore::GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                                            const float* defaultRow) {
  if (!BeginTimesReach(out, reach, group, sub)) return false;
  if (!reach.data) return true;
  const int actions = Actions();
  const int32_t hands = HandCount(group, sub);
  const int32_t entry = layout->EntryIndex(group, sub);
  PrefetchNextEntry<float>(group, entry);
  const float* rows[3];
  float* outRows[3];
  for (int a = 0; a < actions; ++a) {
    rows[a] = Row<float>(group, entry, a);
    ResizeVector(out[a], hands);
    outRows[a] = out[a].data;
  }
  bool positive[3];
  FloatTimesReach(rows, reach.data, outRows, actions, hands, defaultRow, positive);
  // A row that reaches nobody is null, as the callers expect of a walk.
  for (int a = 0; a < actions; ++a)
    if (!positive[a]) {
      ReleaseVector(out[a]);
      out[a].count = hands;
    }
  return true;
}

bool RiverFloatStore::UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups*,
                                  double, const float* defaultRow, int32_t) {
  if (UseAvx512()) return false;
  const int start = BeginFused(group, sub, out, values);
  if (start <= 0) return start == 0;
  const int actions = Actions();
  const int32_t hands = HandCount(group, sub);
  const int32_t entry = layout->EntryIndex(group, sub);
  PrefetchNextEntry<float>(group, entry);
  float* rows[3];
  const float* rowValues[3];
  for (int a = 0; a < actions; ++a) {
    rows[a] = Row<float>(group, entry, a);
    rowValues[a] = values[a].data;
  }
  ResizeVector(out, hands);
  FloatFused(rows, rowValues, out.data, actions, hands, defaultRow);
  return true;
}

void RiverFloatStore::AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) {
  if (!(weight > 0.0) || !HasRows(group)) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const uint8_t* mask = locks[size_t(entry)].handMask.get();
  const float w = float(weight);
  for (int a = 0; a < Actions(); ++a) {
    if (!values[a].data) continue;
    FloatAccumulate(Row<float>(group, entry, a), values[a].data, w, mask, hands);
  }
}

void RiverFloatStore::Save(TreeWriter& out) const {
  SaveLocks(out);
  EachRow([&](int group, int32_t entry, int action, int32_t hands) {
    if (Readable(group))
      out.Write(Row<float>(group, entry, action), size_t(hands) * sizeof(float));
    else
      WriteZeros(out, size_t(hands) * sizeof(float));
    return true;
  });
}

bool RiverFloatStore::Load(TreeReader& in) {
  if (!LoadLocks(in) || !AllocateForLoad(in, uint64_t(layout->elements) * sizeof(float))) return false;
  const bool read = EachRow([&](int group, int32_t entry, int action, int32_t hands) {
    return ReadFloatRow(in, Row<float>(group, entry, action), hands);
  });
  if (!read) {
    Release();
    return false;
  }
  FinishLoad<float>();
  return true;
}
