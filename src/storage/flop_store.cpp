#include "storage/flop_store.h"

#include <cstring>

#include "storage/kernels/float_regret_update.h"
#include "storage/lock_record_file.h"
#include "storage/row_file.h"
#include "storage/store_rows.h"
#include "storage/tree_stream.h"

FlopStore::FlopStore(int actions, int hands) : actions(actions), hands(hands) {
  rows.reserve(size_t(actions));
  for (int a = 0; a < actions; ++a) rows.emplace_back(hands);
}

// A store that can't have all its rows gives back those it got, so that a
// refused go leaves the memory to the queries that follow.
bool FlopStore::Allocate() {
  for (FloatVec& row : rows) {
    if (!TryZeroVector(row, hands)) {
      Release();
      return false;
    }
  }
  return true;
}

void FlopStore::Release() {
  for (FloatVec& row : rows) ReleaseVector(row);
}

void FlopStore::GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) {
  if (!IsAllocated()) {
    FillDefaultRows(out, actions, hands, defaultRow);
    return;
  }
  const float* rowData[64];
  std::vector<const float*> many;
  const float** source = rowData;
  if (actions > 64) {
    many.resize(size_t(actions));
    source = many.data();
  }
  for (int a = 0; a < actions; ++a) source[a] = rows[size_t(a)].data;
  MatchFloatRows(source, out, actions, hands, defaultRow);
}

void FlopStore::SetRow(int group, int sub, int action, const float* row) {
  if (!IsAllocated()) return;
  std::memcpy(rows[size_t(action)].data, row, size_t(hands) * sizeof(float));
}

void FlopStore::UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                              const TieGroups* tieGroups, double weight, int32_t iteration) {
  if (!IsAllocated()) return;
  for (int a = 0; a < actions; ++a)
    FloatRegretUpdate(rows[size_t(a)].data, values[a].data, baseline.data, lock.handMask.get(), hands);
}

void FlopStore::AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) {
  if (!(weight > 0.0) || !IsAllocated()) return;
  const float w = float(weight);
  for (int a = 0; a < actions; ++a) {
    if (!values[a].data) continue;
    FloatAccumulate(rows[size_t(a)].data, values[a].data, w, lock.handMask.get(), hands);
  }
}

void FlopStore::Save(TreeWriter& out) const {
  WriteLockRecord(out, lock);
  const size_t rowBytes = size_t(hands) * sizeof(float);
  for (const FloatVec& row : rows) {
    if (IsAllocated())
      out.Write(row.data, rowBytes);
    else
      WriteZeros(out, rowBytes);
  }
}

bool FlopStore::Load(TreeReader& in) {
  if (!ReadLockRecord(in, lock, hands)) return false;
  // The rows must be there before they take memory.
  if (uint64_t(actions) * uint64_t(hands) * sizeof(float) > in.Remaining() || !Allocate()) {
    in.Fail();
    return false;
  }
  for (FloatVec& row : rows) {
    if (!ReadFloatRow(in, row.data, hands)) {
      Release();
      return false;
    }
  }
  return true;
}
