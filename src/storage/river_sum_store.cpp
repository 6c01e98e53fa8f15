#include "storage/river_sum_store.h"

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "setup/failure.h"
#include "storage/kernels/sum_accumulate.h"
#include "storage/kernels/u16_regret_matching.h"
#include "storage/row_file.h"
#include "storage/store_rows.h"
#include "storage/tree_stream.h"

namespace {
constexpr uint32_t WideMax = 0xFFFFFF;
size_t NarrowBytes(const RiverLayout::Span& span) { return size_t(span.elements) * 2; }
size_t WideBytes(const RiverLayout::Span& span) { return size_t(span.elements) * 3 + 11; }

uint32_t Clamp(double x, uint32_t top) {
  if (!(x > 0.0)) return 0;  // NaN too
  return x >= double(top) ? top : uint32_t(x);
}
}  // namespace

RiverSumStore::RiverSumStore(const RiverLayout* layout)
    : RiverStore(layout),
      groupBuffers(size_t(layout->groupCount), nullptr),
      groupWide(size_t(layout->groupCount), 0),
      entryWeight(size_t(layout->entryCount), 0.0f) {}

RiverSumStore::~RiverSumStore() { Release(); }

void RiverSumStore::Release() {
  for (uint8_t*& buffer : groupBuffers) {
    if (buffer) scalable_aligned_free(buffer);
    buffer = nullptr;
  }
}

bool RiverSumStore::Allocate() {
  Release();
  std::fill(groupWide.begin(), groupWide.end(), uint8_t(0));
  std::fill(entryWeight.begin(), entryWeight.end(), 0.0f);
  for (size_t g = 0; g < groupBuffers.size(); ++g) {
    size_t bytes = NarrowBytes(layout->groupSpans[g]);
    groupBuffers[g] = static_cast<uint8_t*>(scalable_aligned_malloc(bytes > 0 ? bytes : 1, 16));
    if (!groupBuffers[g]) {
      Release();
      return false;
    }
    std::memset(groupBuffers[g], 0, bytes);
  }
  return true;
}

int64_t RiverSumStore::RowStart(int group, int32_t entry, int action) const {
  const RiverLayout::Entry& e = layout->entries[size_t(entry)];
  return int64_t(e.offset - layout->groupSpans[size_t(group)].offset) +
         int64_t(action) * RiverLayout::Stride(e.hands);
}

uint32_t RiverSumStore::Element(int group, int64_t index) const {
  const uint8_t* buffer = groupBuffers[size_t(group)];
  if (!groupWide[size_t(group)]) {
    uint16_t x;
    std::memcpy(&x, buffer + 2 * index, 2);
    return x;
  }
  const uint8_t* p = buffer + 3 * index;
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16;
}

void RiverSumStore::SetElement(int group, int64_t index, uint32_t value) {
  uint8_t* buffer = groupBuffers[size_t(group)];
  if (!groupWide[size_t(group)]) {
    uint16_t x = uint16_t(std::min<uint32_t>(value, 65535));
    std::memcpy(buffer + 2 * index, &x, 2);
    return;
  }
  value = std::min(value, WideMax);
  uint8_t* p = buffer + 3 * index;
  p[0] = uint8_t(value);
  p[1] = uint8_t(value >> 8);
  p[2] = uint8_t(value >> 16);
}

void RiverSumStore::WidenGroup(int group) {
  if (groupWide[size_t(group)] || !groupBuffers[size_t(group)]) return;
  const RiverLayout::Span& span = layout->groupSpans[size_t(group)];
  uint8_t* wide = static_cast<uint8_t*>(scalable_aligned_malloc(WideBytes(span), 16));
  if (!wide) {
    std::printf("out of memory\n");
    ExitProcess(1);
  }
  std::memset(wide, 0, WideBytes(span));
  uint8_t* narrow = groupBuffers[size_t(group)];
  for (int64_t k = 0; k < span.elements; ++k) {
    uint16_t x;
    std::memcpy(&x, narrow + 2 * k, 2);
    wide[3 * k] = uint8_t(x);
    wide[3 * k + 1] = uint8_t(x >> 8);
  }
  scalable_aligned_free(narrow);
  groupBuffers[size_t(group)] = wide;
  groupWide[size_t(group)] = 1;
}

void RiverSumStore::GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) {
  const int32_t hands = HandCount(group, sub);
  const int actions = Actions();
  if (!groupBuffers[size_t(group)]) {
    FillDefaultRows(out, actions, hands, defaultRow);
    return;
  }
  const int32_t entry = layout->EntryIndex(group, sub);
  // Hands without sums read evenly spread, as trees of this form always
  // did; but a default row that no strategy can be (negative: the average's
  // mark for "no sums here") passes through, so that the reader can take
  // another strategy for those hands, as it does with every other store.
  std::vector<float> fallback(static_cast<size_t>(actions), defaultRow ? 1.0f / float(actions) : 0.0f);
  if (defaultRow && defaultRow[0] < 0.0f) fallback.assign(defaultRow, defaultRow + actions);
  std::vector<float*> outRows(static_cast<size_t>(actions));
  for (int a = 0; a < actions; ++a) {
    ResizeVector(out[a], hands);
    outRows[size_t(a)] = out[a].data;
  }
  if (!groupWide[size_t(group)]) {
    std::vector<const uint16_t*> rows(static_cast<size_t>(actions));
    for (int a = 0; a < actions; ++a)
      rows[size_t(a)] = reinterpret_cast<const uint16_t*>(groupBuffers[size_t(group)]) + RowStart(group, entry, a);
    U16MatchN(rows.data(), nullptr, outRows.data(), actions, hands, fallback.data());
    return;
  }
  // Wide groups: the totals of 24-bit elements, exact in double.
  for (int i = 0; i < hands; ++i) {
    double sum = 0.0;
    for (int a = 0; a < actions; ++a) sum += Element(group, RowStart(group, entry, a) + i);
    for (int a = 0; a < actions; ++a)
      outRows[size_t(a)][i] =
          sum > 0.0 ? float(double(Element(group, RowStart(group, entry, a) + i)) / sum) : fallback[size_t(a)];
  }
}

void RiverSumStore::SetRow(int group, int sub, int action, const float* row) {
  if (!groupBuffers[size_t(group)]) return;
  const int32_t entry = layout->EntryIndex(group, sub);
  const int64_t start = RowStart(group, entry, action);
  const uint32_t top = groupWide[size_t(group)] ? WideMax : 65535;
  const int32_t hands = HandCount(group, sub);
  for (int i = 0; i < hands; ++i) SetElement(group, start + i, Clamp(std::trunc(10000.0f * row[i]), top));
}

void RiverSumStore::AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) {
  if (!(weight > 0.0) || !groupBuffers[size_t(group)]) return;
  const int32_t entry = layout->EntryIndex(group, sub);
  const float w = float(weight);
  if (!groupWide[size_t(group)] && entryWeight[size_t(entry)] >= 0.0f) {
    entryWeight[size_t(entry)] += w;
    if (entryWeight[size_t(entry)] > 65535.0f) WidenGroup(group);
  }
  const int32_t hands = HandCount(group, sub);
  const uint8_t* mask = locks[size_t(entry)].handMask.get();
  for (int a = 0; a < Actions(); ++a) {
    if (!values[a].data) continue;
    const int64_t start = RowStart(group, entry, a);
    if (!groupWide[size_t(group)]) {
      U16SumAccumulate(reinterpret_cast<uint16_t*>(groupBuffers[size_t(group)]) + start, values[a].data, w, mask,
                       hands);
      continue;
    }
    for (int i = 0; i < hands; ++i) {
      if (mask && mask[i]) continue;
      const float t = std::trunc(0.5f + w * values[a].data[i] + float(Element(group, start + i)));
      SetElement(group, start + i, Clamp(t, WideMax));
    }
  }
}

namespace {
int32_t MostHands(const RiverLayout& layout) {
  int32_t most = 0;
  for (const RiverLayout::Entry& e : layout.entries) most = std::max(most, e.hands);
  return most;
}
}  // namespace

void RiverSumStore::Save(TreeWriter& out) const {
  SaveLocks(out);
  out.WriteValue(uint8_t(formatByte));
  std::vector<uint32_t> wideRow(size_t(MostHands(*layout)));
  for (int g = 0; g < layout->groupCount; ++g) {
    const uint8_t* buffer = groupBuffers[size_t(g)];
    const bool wide = buffer && groupWide[size_t(g)];
    out.WriteValue(uint8_t(wide));
    EachRowOfGroup(g, [&](int, int32_t entry, int action, int32_t hands) {
      const int64_t start = RowStart(g, entry, action);
      if (!buffer) {
        WriteEmptyPackedRow(out);
      } else if (!wide) {
        WritePackedRow16(out, reinterpret_cast<const uint16_t*>(buffer) + start, hands);
      } else {
        for (int32_t i = 0; i < hands; ++i) wideRow[size_t(i)] = Element(g, start + i);
        WritePackedRow24(out, wideRow.data(), hands);
      }
      return true;
    });
  }
}

bool RiverSumStore::Load(TreeReader& in) {
  if (!LoadLocks(in) || !ReadFormatByte(in, formatByte)) return false;
  // Per group its width byte, per row at least its length.
  if (uint64_t(layout->groupCount) + uint64_t(RowCount()) * 2 > in.Remaining()) {
    in.Fail();
    return false;
  }
  Release();
  std::fill(groupWide.begin(), groupWide.end(), uint8_t(0));
  std::fill(entryWeight.begin(), entryWeight.end(), 0.0f);
  std::vector<uint32_t> wideRow(size_t(MostHands(*layout)));
  auto refuse = [&] {
    in.Fail();
    Release();
    return false;
  };
  for (int g = 0; g < layout->groupCount; ++g) {
    uint8_t wide = 0;
    if (!in.ReadValue(wide) || wide > 1) return refuse();
    const RiverLayout::Span& span = layout->groupSpans[size_t(g)];
    const size_t bytes = wide ? WideBytes(span) : NarrowBytes(span);
    uint8_t* buffer = static_cast<uint8_t*>(scalable_aligned_malloc(bytes > 0 ? bytes : 1, 16));
    if (!buffer) return refuse();
    std::memset(buffer, 0, bytes);
    groupBuffers[size_t(g)] = buffer;
    groupWide[size_t(g)] = wide;
    const bool read = EachRowOfGroup(g, [&](int, int32_t entry, int action, int32_t hands) {
      const int64_t start = RowStart(g, entry, action);
      if (!wide) return ReadPackedRow16(in, reinterpret_cast<uint16_t*>(buffer) + start, hands);
      if (!ReadPackedRow24(in, wideRow.data(), hands)) return false;
      for (int32_t i = 0; i < hands; ++i) SetElement(g, start + i, wideRow[size_t(i)]);
      return true;
    });
    if (!read) return refuse();
    if (wide) continue;
    const RiverLayout::Group& group = layout->groups[size_t(g)];
    for (int32_t e = group.firstEntry; e < group.firstEntry + group.entryCount; ++e) {
      uint32_t largest = 0;
      for (int32_t i = 0; i < layout->entries[size_t(e)].hands; ++i) {
        uint32_t total = 0;
        for (int a = 0; a < Actions(); ++a) total += Element(g, RowStart(g, e, a) + i);
        largest = std::max(largest, total);
      }
      entryWeight[size_t(e)] = float(largest);
    }
  }
  return true;
}
