// RiverStore and RiverRowStore: what the river classes share.
//
// A river node's numbers span every dealt turn (group) and river (sub), so
// the stores don't own their geometry: a RiverLayout, one per action count
// and shared by every river node with that count, says where each entry's
// rows lie. Each entry has its own LockRecord.
//
// RiverRowStore keeps all rows in one buffer, 128-byte aligned, taken at
// Allocate but cleared group by group on first touch (GroupTouch says why
// the first touch is an atomic claim). Rows are found through a base per
// group, so that a store without a buffer can work on rows lent to it one
// group at a time: the compressed store decodes a dealt turn's rows into a
// working buffer and lends it for the visit.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/group_touch.h"
#include "storage/strategy_store.h"

class RiverStore : public StrategyStore {
 public:
  explicit RiverStore(const RiverLayout* layout);

  int32_t HandCount(int group, int sub) const override;
  bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                             const float* defaultRow) override {
    return false;
  }
  bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                   double weight, const float* defaultRow, int32_t iteration) override {
    return false;
  }
  int64_t EntryCount(int group) const override;
  LockRecord* GetLockRecord(int group, int sub) override;

  const RiverLayout* layout;
  std::vector<LockRecord> locks;  // one per entry

 protected:
  int32_t Actions() const { return layout->actions; }
  // The lock records of every entry in order, as all river file forms
  // begin. Load: false, with the reader failed, for a damaged record.
  void SaveLocks(TreeWriter& out) const;
  bool LoadLocks(TreeReader& in);
  // Rows of the file forms go group by group, in a group entry by entry,
  // in an entry action by action. visit(group, entry, action, hands) may
  // stop the walk by returning false; the result says whether it ran out.
  template <class Visit>
  bool EachRowOfGroup(int group, Visit visit) const {
    const RiverLayout::Group& g = layout->groups[size_t(group)];
    for (int32_t e = g.firstEntry; e < g.firstEntry + g.entryCount; ++e)
      for (int a = 0; a < Actions(); ++a)
        if (!visit(group, e, a, layout->entries[size_t(e)].hands)) return false;
    return true;
  }
  template <class Visit>
  bool EachRow(Visit visit) const {
    for (int g = 0; g < layout->groupCount; ++g)
      if (!EachRowOfGroup(g, visit)) return false;
    return true;
  }
  // Rows of the store: what a loader counts to find the least bytes its
  // record must still have before it allocates.
  int64_t RowCount() const { return int64_t(layout->entryCount) * layout->actions; }
};

// Asks the caches for the rows that follow an entry's rows: the next
// river's rows of the same node, which a walk over the rivers of a turn
// reads next. Every node is a stream of its own, more of them than the
// processor's prefetchers follow. `next` is where the entry's rows end; the
// next entry is taken to be as long. A prefetch past a buffer's end faults
// nothing.
template <class T>
inline void PrefetchNextRows(const T* next, int32_t hands, int actions) {
  const char* bytes = reinterpret_cast<const char*>(next);
  const size_t count = size_t(actions) * size_t(RiverLayout::Stride(hands)) * sizeof(T);
  for (size_t b = 0; b < count; b += 64) __builtin_prefetch(bytes + b);
}

class RiverRowStore : public RiverStore {
 public:
  explicit RiverRowStore(const RiverLayout* layout);
  ~RiverRowStore() override;
  RiverRowStore(const RiverRowStore&) = delete;
  RiverRowStore& operator=(const RiverRowStore&) = delete;

  // Takes paddedElements * ElementBytes bytes; false if the heap refuses.
  // The groups read as zeros afterwards, also on a second call.
  bool Allocate() override;
  void Release() override;
  // Clears the group's span on its first use after Allocate. Every
  // operation that reads or writes rows of the group starts with it; any
  // number of threads may call it at once.
  void TouchGroup(int group);
  virtual int32_t ElementBytes() const = 0;
  // Rows of one group kept by someone else (a store without its own
  // buffer): they are read and written in place until LendGroup(group,
  // nullptr). rows holds the group's span, offsets taken from its start.
  void LendGroup(int group, void* rows) { groupRows[size_t(group)] = static_cast<uint8_t*>(rows); }
  bool HasRows(int group) const { return groupRows[size_t(group)] != nullptr; }

  void* buffer = nullptr;
  GroupTouch touched;

 protected:
  template <class T>
  T* Row(int group, int32_t entry, int action) const {
    const RiverLayout::Entry& e = layout->entries[size_t(entry)];
    const int64_t inGroup = int64_t(e.offset) - layout->groupSpans[size_t(group)].offset;
    return reinterpret_cast<T*>(groupRows[size_t(group)]) + inGroup + int64_t(action) * RiverLayout::Stride(e.hands);
  }
  // The start that GetStrategyTimesReach of two and three actions shares:
  // false if the rows can't serve the read; otherwise the group is touched
  // and, for a null reach, every out row is left null with its length.
  bool BeginTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub);
  // The same for UpdateFused: -1 when the rows can't serve it (no rows,
  // another action count, locked hands, only some children's values), 0
  // when no child ran (out is left null and no regret moves), else 1; the
  // group is touched unless -1.
  int BeginFused(int group, int sub, FloatVec& out, const FloatVec* values);
  template <class T>
  void PrefetchNextEntry(int group, int32_t entry) const {
    PrefetchNextRows(Row<T>(group, entry, Actions()), layout->entries[size_t(entry)].hands, Actions());
  }
  // Rows there to read: lent, or in the buffer and cleared.
  bool Readable(int group) const { return HasRows(group) && (!buffer || touched.IsTouched(size_t(group))); }
  // For a loader: takes the buffer once the reader holds at least
  // leastBytes more (a damaged count must not cost memory), or fails it.
  bool AllocateForLoad(TreeReader& in, uint64_t leastBytes);
  // After a load filled every row: zero padding, every group touched.
  template <class T>
  void FinishLoad() {
    EachRow([&](int group, int32_t entry, int action, int32_t hands) {
      T* row = Row<T>(group, entry, action);
      for (int32_t i = hands; i < RiverLayout::Stride(hands); ++i) row[i] = T(0);
      return true;
    });
    for (int g = 0; g < layout->groupCount; ++g) touched.MarkTouched(size_t(g));
  }

 private:
  std::vector<uint8_t*> groupRows;  // null: the group has no rows
};
