// RiverCompressedStore: river rows that rest in compressed blocks and
// exist in decoded form only while the solver works on their dealt turn.
//
// Nearly all of a flop tree's numbers are river rows, repeated for every
// turn and river; this is the store that lets the trees that don't fit in
// 16 bits fit at all. A visit of a dealt turn opens every river store below
// it (decodes the group into working rows), walks the rivers on those rows
// with the ordinary operations, and closes the stores again, encoding back
// only what the pass changed. The price is paid inline on every pass.
//
// One block holds one player's rows of one group across all that player's
// river nodes of a river subtree: the first node's store owns the arena and
// the further nodes of the chain read and write their rows through it, in
// tree order. Within a store rows go action by action, each action's rows of
// the group's rivers in turn, so that the previous river's row of the same
// action can predict the next one; a river with more hands than the one
// before is coded without a predictor.
//
// Three forms share the blocks. Regret rows are the 16-bit regret rows with
// a scale per entry, worked on by the very code of the 16-bit store, which
// is lent the decoded rows; shifted sums likewise the 16-bit shifted sums,
// limited to 32767 and without a weight scale; plain sums (trees of the
// format before shifted sums) are 32-bit integers rounded on each addition.
// Level 1 keeps packed rows, level 2 stream-coded ones.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "storage/river_shift_sum_store.h"
#include "storage/river_u16_store.h"

class TreeReader;
class TreeWriter;

class RiverCompressedStore final : public RiverStore {
 public:
  enum class Form : uint8_t { Regret, ShiftedSum, PlainSum };
  RiverCompressedStore(const RiverLayout* layout, uint32_t level, Form form);
  ~RiverCompressedStore() override;
  RiverCompressedStore(const RiverCompressedStore&) = delete;
  RiverCompressedStore& operator=(const RiverCompressedStore&) = delete;

  // No memory is taken up front: a group's block reserves its address space
  // on the group's first open and commits pages as closes write into it;
  // working rows are taken on every open and given back on every close.
  bool Allocate() override { return true; }
  // Drops every block and working row; the store reads as new.
  void Release() override;
  void GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) override;
  bool GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                             const float* defaultRow) override;
  void SetRow(int group, int sub, int action, const float* row) override;
  void UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                     const TieGroups* tieGroups, double weight, int32_t iteration) override;
  bool UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values, const TieGroups* tieGroups,
                   double weight, const float* defaultRow, int32_t iteration) override;
  void AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) override;
  // arena: null for the first store of a chain, which then supplies its own
  // block of the group (made for `total` elements if it has none yet).
  // Decodes the group's rows, or zeros them where the block has no data.
  MemoryArena* OpenGroup(MemoryArena* arena, int group, int64_t total) override;
  // With write the rows are encoded into the chain's block (the first
  // store starts it anew); without it they are dropped and the block stays
  // byte for byte as it was.
  MemoryArena* CloseGroup(MemoryArena* arena, int group, bool write) override;
  LockRecord* GetLockRecord(int group, int sub) override;
  void SetChainElements(int group, int64_t elements) override { chainElements[size_t(group)] = elements; }

  // File form: the lock records, the row shifts of the shifted form, a byte
  // saying whether there are blocks and then all of them, and the entry
  // scales of the regret form. Load reads the scales only from
  // EntryScaleFormatVersion on; false if the record is damaged or doesn't fit
  // (a row shift above MaxRowShift, a scale not finite and positive), the
  // store then being left without blocks.
  void Save(TreeWriter& out) const override;
  bool Load(TreeReader& in) override;

  bool IsOpen(int group) const { return workRows[size_t(group)] != nullptr; }
  const MemoryArena* Block(int group) const { return arenas[size_t(group)].get(); }
  std::vector<float>& EntryScale() { return regretRows->entryScale; }

  int32_t sumLimit = 32767;
  uint32_t level;
  bool isRegret, isShifted, is16Bit;
  std::vector<void*> workRows;                        // per group, null when closed
  std::vector<std::unique_ptr<MemoryArena>> arenas;  // per group, null until written
  // Per group, the elements of the chain whose block this store owns, 0
  // until told: the size of a block made from a file.
  std::vector<int64_t> chainElements;

 private:
  std::unique_ptr<MemoryArena> MakeArena(int64_t total) const;
  // The block a file's group goes into: room for the whole chain.
  std::unique_ptr<MemoryArena> MakeLoadedArena(int group) const;
  template <class Element>
  void CodeRows(MemoryArena& arena, int group, bool write);
  void Lend(int group, void* rows);
  void RequireOpen(int group) const;
  int32_t* PlainRow(int group, int32_t entry, int action) const;

  // The 16-bit forms: a store without a buffer that is lent the working
  // rows of each open group.
  std::unique_ptr<RiverU16Store> regretRows;
  std::unique_ptr<RiverShiftSumStore> sumRows;
};
