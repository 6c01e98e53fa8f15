#include "storage/river_shift_sum_store.h"

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "storage/kernels/sum_accumulate.h"
#include "storage/kernels/u16_regret_matching.h"
#include "storage/row_file.h"
#include "storage/store_rows.h"
#include "storage/tree_stream.h"

namespace {
size_t GroupBytes(const RiverLayout::Span& span) { return (size_t(span.elements) * 2 + 127) & ~size_t(127); }
}  // namespace

RiverShiftSumStore::RiverShiftSumStore(const RiverLayout* layout)
    : RiverStore(layout),
      groupBuffers(size_t(layout->groupCount), nullptr),
      rowShift(size_t(layout->entryCount) * size_t(layout->actions), 0),
      touched(size_t(layout->groupCount)) {}

RiverShiftSumStore::~RiverShiftSumStore() { Release(); }

void RiverShiftSumStore::Release() {
  if (block) scalable_aligned_free(block);
  block = nullptr;
  std::fill(groupBuffers.begin(), groupBuffers.end(), nullptr);
}

bool RiverShiftSumStore::Allocate() {
  touched.Reset();
  std::fill(rowShift.begin(), rowShift.end(), uint8_t(0));
  if (block) return true;
  size_t total = 0;
  for (const RiverLayout::Span& span : layout->groupSpans) total += GroupBytes(span);
  block = scalable_aligned_malloc(total > 0 ? total : 1, 128);
  if (!block) return false;
  size_t at = 0;
  for (size_t g = 0; g < groupBuffers.size(); ++g) {
    groupBuffers[g] = reinterpret_cast<uint16_t*>(static_cast<uint8_t*>(block) + at);
    at += GroupBytes(layout->groupSpans[g]);
  }
  return true;
}

void RiverShiftSumStore::TouchGroup(int group) {
  if (!block) return;
  touched.Touch(size_t(group), [&] {
    std::memset(groupBuffers[size_t(group)], 0, GroupBytes(layout->groupSpans[size_t(group)]));
  });
}

uint16_t* RiverShiftSumStore::Row(int group, int32_t entry, int action) const {
  const RiverLayout::Entry& e = layout->entries[size_t(entry)];
  return groupBuffers[size_t(group)] + (e.offset - layout->groupSpans[size_t(group)].offset) +
         int64_t(action) * RiverLayout::Stride(e.hands);
}

void RiverShiftSumStore::GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) {
  const int32_t hands = HandCount(group, sub);
  const int actions = Actions();
  if (!groupBuffers[size_t(group)]) {
    FillDefaultRows(out, actions, hands, defaultRow);
    return;
  }
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  // On the stack for the usual action counts: this runs for every river
  // node an evaluation visits.
  constexpr size_t Inline = 8;
  const uint16_t* rowsInline[Inline];
  float factorsInline[Inline];
  float* outInline[Inline];
  std::vector<const uint16_t*> rowsHeap;
  std::vector<float> factorsHeap;
  std::vector<float*> outHeap;
  const uint16_t** rows = rowsInline;
  float* factors = factorsInline;
  float** outRows = outInline;
  if (size_t(actions) > Inline) {
    rowsHeap.resize(size_t(actions));
    factorsHeap.resize(size_t(actions));
    outHeap.resize(size_t(actions));
    rows = rowsHeap.data();
    factors = factorsHeap.data();
    outRows = outHeap.data();
  }
  for (int a = 0; a < actions; ++a) {
    ResizeVector(out[a], hands);
    rows[size_t(a)] = Row(group, entry, a);
    factors[size_t(a)] = std::ldexp(1.0f, rowShift[size_t(entry) * size_t(actions) + size_t(a)]);
    outRows[size_t(a)] = out[a].data;
  }
  U16MatchN(rows, factors, outRows, actions, hands, defaultRow);
}

void RiverShiftSumStore::SetRow(int group, int sub, int action, const float* row) {
  if (!groupBuffers[size_t(group)]) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  uint16_t* target = Row(group, entry, action);
  const int32_t hands = HandCount(group, sub);
  for (int i = 0; i < hands; ++i) {
    float x = std::trunc(row[i]);
    target[i] = x >= 65535.0f ? 65535 : x > 0.0f ? uint16_t(x) : 0;
  }
  rowShift[size_t(entry) * size_t(Actions()) + size_t(action)] = 0;
}

void RiverShiftSumStore::AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) {
  if (!(weight > 0.0) || !groupBuffers[size_t(group)]) return;
  TouchGroup(group);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const double w = weight * double(weightScale);
  PrefetchNextRows(Row(group, entry, Actions()), hands, Actions());
  for (int a = 0; a < Actions(); ++a) {
    if (!values[a].data) continue;
    uint8_t& shift = rowShift[size_t(entry) * size_t(Actions()) + size_t(a)];
    const float w2 = float(std::ldexp(w, -int(shift)));
    const int added = ShiftSumAccumulate(Row(group, entry, a), values[a].data, w2, hands, limit);
    shift = uint8_t(std::min(int(shift) + added, 255));
  }
}

void RiverShiftSumStore::Save(TreeWriter& out) const {
  SaveLocks(out);
  out.WriteValue(uint8_t(formatByte));
  const size_t actions = size_t(Actions());
  for (int g = 0; g < layout->groupCount; ++g) {
    const RiverLayout::Group& group = layout->groups[size_t(g)];
    out.WriteValue(weightScale);
    out.Write(rowShift.data() + size_t(group.firstEntry) * actions, size_t(group.entryCount) * actions);
    const bool rows = groupBuffers[size_t(g)] && touched.IsTouched(size_t(g));
    EachRowOfGroup(g, [&](int, int32_t entry, int action, int32_t hands) {
      if (rows)
        WritePackedRow16(out, Row(g, entry, action), hands);
      else
        WriteEmptyPackedRow(out);
      return true;
    });
  }
}

bool RiverShiftSumStore::Load(TreeReader& in) {
  if (!LoadLocks(in) || !ReadFormatByte(in, formatByte)) return false;
  // Per group a scale and the shifts, per row at least its length.
  const uint64_t least = uint64_t(layout->groupCount) * sizeof(float) + rowShift.size() + uint64_t(RowCount()) * 2;
  if (least > in.Remaining() || !Allocate()) {
    in.Fail();
    return false;
  }
  const size_t actions = size_t(Actions());
  for (int g = 0; g < layout->groupCount; ++g) {
    const RiverLayout::Group& group = layout->groups[size_t(g)];
    float scale = 0.0f;
    uint8_t* shifts = rowShift.data() + size_t(group.firstEntry) * actions;
    const size_t shiftCount = size_t(group.entryCount) * actions;
    bool read = in.ReadValue(scale) && in.Read(shifts, shiftCount);
    if (read && (!AllFinitePositive(&scale, 1) || !RowShiftsValid(shifts, shiftCount))) {
      in.Fail();
      read = false;
    }
    // The group is cleared whole, padding included, and written at its
    // first row that holds anything; a group of empty rows stays untouched,
    // costing no memory, as it was saved.
    read = read && EachRowOfGroup(g, [&](int, int32_t entry, int action, int32_t hands) {
             PackedRow16 bytes;
             if (!ReadPackedRow16(in, hands, bytes)) return false;
             if (bytes.Empty()) return true;
             TouchGroup(g);
             return UnpackPackedRow16(in, bytes, Row(g, entry, action));
           });
    if (!read) {
      Release();
      return false;
    }
    if (g == 0) weightScale = scale;
  }
  return true;
}
