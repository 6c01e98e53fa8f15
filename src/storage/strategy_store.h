// StrategyStore: the numbers of one decision node on all its boards.
//
// Every decision node owns up to two: store0 holds cumulative regrets,
// store1 the cumulative strategy. A row is one action's numbers for all
// hands of one board, in the order of that board's hand list. Flop nodes
// have one board, turn nodes one per dealt turn (group), river nodes one
// per dealt turn and river (group, sub). The solver touches numbers only
// through these virtual operations, which always take whole rows, so the
// river classes are free to trade precision for memory.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "storage/float_vec.h"

class MemoryArena;
class TreeReader;
class TreeWriter;

// Locks of one board of a node. Hands whose handMask byte is non-zero are
// left alone by updates.
struct LockRecord {
  uint32_t flags = 0;  // bit 0 LOCKED, bit 1 COMBO_LOCKED
  std::unique_ptr<uint8_t[]> handMask;
  int32_t handMaskSize = 0;
};
inline constexpr uint32_t LockedFlag = 1;
inline constexpr uint32_t ComboLockedFlag = 2;

// Where each river entry's rows lie in a river store's buffer. One layout
// per action count, shared by every river node with that many actions,
// since they all span the same boards. Offsets count elements; each row
// starts on a multiple of four elements (stride = (hands + 3) & ~3), so
// float rows are 16-byte aligned and the padding is never read.
struct RiverLayout {
  struct Group {
    int32_t firstEntry = 0;
    int32_t entryCount = 0;
  };
  struct Entry {
    int32_t offset = 0;
    int32_t hands = 0;
  };
  struct Span {
    int32_t offset = 0;    // element offset of the group's first entry
    int32_t elements = 0;  // padded elements of all the group's entries
  };
  std::vector<Group> groups;
  std::vector<Entry> entries;
  std::vector<Span> groupSpans;
  int32_t actions = 0;
  int32_t groupCount = 0;
  int32_t entryCount = 0;
  int32_t paddedElements = 0;  // size of a whole store in elements
  int32_t elements = 0;        // actions times the sum of all hands

  int32_t EntryIndex(int group, int sub) const { return groups[size_t(group)].firstEntry + sub; }
  static int32_t Stride(int32_t hands) { return (hands + 3) & ~3; }
};

// riverHandCounts[group][sub]: hands of each river board, in index order.
RiverLayout MakeRiverLayout(int actions, const std::vector<std::vector<int32_t>>& riverHandCounts);

// Run lengths of equal hand strength over a river hand list.
using TieGroups = std::vector<uint16_t>;

class StrategyStore {
 public:
  virtual ~StrategyStore() = default;

  // Takes and clears the memory of the numbers. False if it can't.
  virtual bool Allocate() = 0;
  // Gives that memory back; the store reads as never allocated again.
  virtual void Release() {}
  virtual int32_t HandCount(int group, int sub) const = 0;
  // One row per action: the normalised strategy. out has `actions` vectors,
  // resized here. Hands with no information get defaultRow.
  virtual void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) = 0;
  // Strategy times reach; rows that come out all zero are released. False
  // (and nothing done) where the class has no such fast form.
  virtual bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                                     const float* defaultRow) = 0;
  virtual void SetRow(int group, int sub, int action, const float* row) = 0;
  // Adds the regret of each action's values against the baseline. A null
  // value row stands for a child that did not run (all zeros). iteration:
  // the solver's, which a class may use to time its upkeep; the stores
  // keep no clock of their own, so a pass decides what iteration it is.
  virtual void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                             const TieGroups* tieGroups, double weight, int32_t iteration) = 0;
  // Node value into out and regret update in one pass, for 2 or 3 actions.
  // False if it did nothing; the caller then goes the long way.
  virtual bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                           double weight, const float* defaultRow, int32_t iteration) = 0;
  // rows[a] += weight * values[a] on unlocked hands; weight <= 0 does nothing.
  virtual void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) = 0;
  // Unpadded elements of one group, or of all groups for a negative group.
  virtual int64_t EntryCount(int group) const = 0;
  // Compressed stores decode and encode a dealt turn's rows between these;
  // the others return null.
  virtual MemoryArena* OpenGroup(MemoryArena* arena, int group, int64_t elementTotal) { return nullptr; }
  virtual MemoryArena* CloseGroup(MemoryArena* arena, int group, bool write) { return nullptr; }
  virtual LockRecord* GetLockRecord(int group, int sub) = 0;
  // For a store whose block of a group holds the rows of a whole chain of
  // stores: the chain's elements in that group, which the block must have
  // room for when it is made from a file. Others ignore it.
  virtual void SetChainElements(int group, int64_t elements) {}
  // The file form: everything the store holds, locks included, with no tag
  // of its own (the reader makes the same class from the tree's shape).
  // Save writes the form of the writer's format version (the newest unless
  // the tree is older); Load reads the form of the reader's into a store
  // that was just made, allocating what it fills: false, with the reader
  // failed, for a record that is damaged, doesn't fit this store or holds
  // numbers no solve can make.
  virtual void Save(TreeWriter& out) const = 0;
  virtual bool Load(TreeReader& in) = 0;
};
