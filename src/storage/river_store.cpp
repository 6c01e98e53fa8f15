#include "storage/river_store.h"

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cstring>

#include "storage/lock_record_file.h"
#include "storage/tree_stream.h"

RiverStore::RiverStore(const RiverLayout* layout) : layout(layout), locks(size_t(layout->entryCount)) {}

int32_t RiverStore::HandCount(int group, int sub) const {
  return layout->entries[size_t(layout->EntryIndex(group, sub))].hands;
}

int64_t RiverStore::EntryCount(int group) const {
  if (group < 0) return layout->elements;
  const RiverLayout::Group& g = layout->groups[size_t(group)];
  int64_t hands = 0;
  for (int32_t e = g.firstEntry; e < g.firstEntry + g.entryCount; ++e) hands += layout->entries[size_t(e)].hands;
  return hands * layout->actions;
}

LockRecord* RiverStore::GetLockRecord(int group, int sub) { return &locks[size_t(layout->EntryIndex(group, sub))]; }

void RiverStore::SaveLocks(TreeWriter& out) const {
  for (const LockRecord& lock : locks) WriteLockRecord(out, lock);
}

bool RiverStore::LoadLocks(TreeReader& in) {
  for (size_t e = 0; e < locks.size(); ++e)
    if (!ReadLockRecord(in, locks[e], layout->entries[e].hands)) return false;
  return true;
}

RiverRowStore::RiverRowStore(const RiverLayout* layout)
    : RiverStore(layout), touched(size_t(layout->groupCount)), groupRows(size_t(layout->groupCount), nullptr) {}

RiverRowStore::~RiverRowStore() { Release(); }

bool RiverRowStore::Allocate() {
  touched.Reset();
  if (buffer) return true;
  size_t bytes = size_t(layout->paddedElements) * size_t(ElementBytes());
  buffer = scalable_aligned_malloc(bytes > 0 ? bytes : 1, 128);
  if (!buffer) return false;
  for (size_t g = 0; g < groupRows.size(); ++g)
    groupRows[g] = static_cast<uint8_t*>(buffer) + size_t(layout->groupSpans[g].offset) * size_t(ElementBytes());
  return true;
}

void RiverRowStore::Release() {
  if (!buffer) return;
  scalable_aligned_free(buffer);
  buffer = nullptr;
  std::fill(groupRows.begin(), groupRows.end(), nullptr);
}

bool RiverRowStore::BeginTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub) {
  const int actions = Actions();
  if (!HasRows(group) || (actions != 2 && actions != 3)) return false;
  TouchGroup(group);
  if (!reach.data) {
    const int32_t hands = HandCount(group, sub);
    for (int a = 0; a < actions; ++a) {
      ReleaseVector(out[a]);
      out[a].count = hands;
    }
  }
  return true;
}

int RiverRowStore::BeginFused(int group, int sub, FloatVec& out, const FloatVec* values) {
  const int actions = Actions();
  if (!HasRows(group) || (actions != 2 && actions != 3)) return -1;
  if (locks[size_t(layout->EntryIndex(group, sub))].handMask) return -1;
  int present = 0;
  for (int a = 0; a < actions; ++a) present += values[a].data != nullptr;
  if (present != 0 && present != actions) return -1;
  TouchGroup(group);
  if (present == 0) {
    ReleaseVector(out);
    out.count = HandCount(group, sub);
    return 0;
  }
  return 1;
}

void RiverRowStore::TouchGroup(int group) {
  if (!buffer) return;
  touched.Touch(size_t(group), [&] {
    const RiverLayout::Span& span = layout->groupSpans[size_t(group)];
    std::memset(groupRows[size_t(group)], 0, size_t(span.elements) * size_t(ElementBytes()));
  });
}

bool RiverRowStore::AllocateForLoad(TreeReader& in, uint64_t leastBytes) {
  if (leastBytes > in.Remaining() || !Allocate()) {
    in.Fail();
    return false;
  }
  return true;
}
