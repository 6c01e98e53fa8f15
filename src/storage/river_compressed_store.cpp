#include "storage/river_compressed_store.h"

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "setup/failure.h"
#include "storage/lock_record_file.h"
#include "storage/packed_arena.h"
#include "storage/row_file.h"
#include "storage/store_rows.h"
#include "storage/stream_arena.h"
#include "storage/tree_stream.h"

RiverCompressedStore::RiverCompressedStore(const RiverLayout* layout, uint32_t level, Form form)
    : RiverStore(layout),
      level(level),
      isRegret(form == Form::Regret),
      isShifted(form == Form::ShiftedSum),
      is16Bit(form != Form::PlainSum),
      workRows(size_t(layout->groupCount), nullptr),
      arenas(size_t(layout->groupCount)),
      chainElements(size_t(layout->groupCount), 0) {
  if (isRegret) regretRows = std::make_unique<RiverU16Store>(layout);
  if (isShifted) {
    sumRows = std::make_unique<RiverShiftSumStore>(layout);
    sumRows->limit = uint32_t(sumLimit);
    sumRows->weightScale = 1.0f;
  }
  // The 16-bit forms keep their lock records in the store they lend rows to.
  if (is16Bit) std::vector<LockRecord>().swap(locks);
}

RiverCompressedStore::~RiverCompressedStore() {
  for (void*& rows : workRows)
    if (rows) scalable_aligned_free(rows);
}

void RiverCompressedStore::Release() {
  for (size_t g = 0; g < workRows.size(); ++g) {
    if (workRows[g]) scalable_aligned_free(workRows[g]);
    workRows[g] = nullptr;
    Lend(int(g), nullptr);
    arenas[g].reset();
  }
  if (regretRows) std::fill(regretRows->entryScale.begin(), regretRows->entryScale.end(), 1.0f);
  if (sumRows) std::fill(sumRows->rowShift.begin(), sumRows->rowShift.end(), uint8_t(0));
}

LockRecord* RiverCompressedStore::GetLockRecord(int group, int sub) {
  if (regretRows) return regretRows->GetLockRecord(group, sub);
  if (sumRows) return sumRows->GetLockRecord(group, sub);
  return RiverStore::GetLockRecord(group, sub);
}

void RiverCompressedStore::Lend(int group, void* rows) {
  if (regretRows) regretRows->LendGroup(group, rows);
  if (sumRows) sumRows->groupBuffers[size_t(group)] = static_cast<uint16_t*>(rows);
}

// No command reaches a closed group: the solver and the row guards open
// every group they touch. Going on would read rows that aren't there.
void RiverCompressedStore::RequireOpen(int group) const {
  if (!workRows[size_t(group)]) FatalError("not open");
}

std::unique_ptr<MemoryArena> RiverCompressedStore::MakeArena(int64_t total) const {
  if (level == 1) return std::make_unique<PackedArena>(total, is16Bit ? 2 : 4);
  return std::make_unique<StreamArena>(total);
}

// The chain's total is what a pass would have made the block for; a block
// sized for this store alone might not hold the rows the chain writes back.
std::unique_ptr<MemoryArena> RiverCompressedStore::MakeLoadedArena(int group) const {
  return MakeArena(std::max(chainElements[size_t(group)], EntryCount(group)));
}

// Rows go action by action, the group's rivers in order within each; the
// same action's row of the river before predicts, unless this river has
// more hands than that one.
template <class Element>
void RiverCompressedStore::CodeRows(MemoryArena& arena, int group, bool write) {
  const RiverLayout::Group& g = layout->groups[size_t(group)];
  const int64_t spanOffset = layout->groupSpans[size_t(group)].offset;
  Element* rows = static_cast<Element*>(workRows[size_t(group)]);
  for (int a = 0; a < Actions(); ++a) {
    for (int32_t s = 0; s < g.entryCount; ++s) {
      const RiverLayout::Entry& e = layout->entries[size_t(g.firstEntry + s)];
      Element* row = rows + (e.offset - spanOffset) + int64_t(a) * RiverLayout::Stride(e.hands);
      const Element* previous = nullptr;
      if (s > 0) {
        const RiverLayout::Entry& before = layout->entries[size_t(g.firstEntry + s - 1)];
        if (e.hands <= before.hands)
          previous = rows + (before.offset - spanOffset) + int64_t(a) * RiverLayout::Stride(before.hands);
      }
      if constexpr (sizeof(Element) == 2) {
        if (write)
          arena.WriteRow16(row, previous, size_t(e.hands));
        else
          arena.ReadRow16(row, previous, size_t(e.hands));
      } else {
        if (write)
          arena.WriteRow32(row, previous, size_t(e.hands));
        else
          arena.ReadRow32(row, previous, size_t(e.hands));
      }
      // The kernels may read a row's padding as a whole vector; keep it 0.
      if (!write) std::fill(row + e.hands, row + RiverLayout::Stride(e.hands), Element(0));
    }
  }
}

MemoryArena* RiverCompressedStore::OpenGroup(MemoryArena* arena, int group, int64_t total) {
  if (workRows[size_t(group)]) FatalError("already open");
  if (!arena) {
    std::unique_ptr<MemoryArena>& own = arenas[size_t(group)];
    if (!own) own = MakeArena(total);
    arena = own.get();
    if (arena->HasData()) arena->BeginRead();
  }
  const size_t bytes = size_t(layout->groupSpans[size_t(group)].elements) * (is16Bit ? 2 : 4);
  void* rows = scalable_aligned_malloc(bytes > 0 ? bytes : 1, 128);
  if (!rows) FatalLine("out of memory\n");
  workRows[size_t(group)] = rows;
  Lend(group, rows);
  if (!arena->HasData()) {
    std::memset(rows, 0, bytes);
  } else if (is16Bit) {
    CodeRows<uint16_t>(*arena, group, false);
  } else {
    CodeRows<uint32_t>(*arena, group, false);
  }
  return arena;
}

MemoryArena* RiverCompressedStore::CloseGroup(MemoryArena* arena, int group, bool write) {
  void* rows = workRows[size_t(group)];
  if (!rows) return nullptr;
  if (write) {
    if (!arena) {
      arena = arenas[size_t(group)].get();
      if (!arena) FatalError("no block");  // OpenGroup made it
      arena->BeginWrite();
    }
    if (is16Bit)
      CodeRows<uint16_t>(*arena, group, true);
    else
      CodeRows<uint32_t>(*arena, group, true);
  }
  Lend(group, nullptr);
  scalable_aligned_free(rows);
  workRows[size_t(group)] = nullptr;
  // A block the open made for a group with no rows yet goes again unless
  // something was written: a close without write leaves the store as it
  // was, also in what it saves.
  std::unique_ptr<MemoryArena>& own = arenas[size_t(group)];
  if (!write && !arena && own && !own->HasData()) own.reset();
  return arena;
}

int32_t* RiverCompressedStore::PlainRow(int group, int32_t entry, int action) const {
  const RiverLayout::Entry& e = layout->entries[size_t(entry)];
  return static_cast<int32_t*>(workRows[size_t(group)]) + (e.offset - layout->groupSpans[size_t(group)].offset) +
         int64_t(action) * RiverLayout::Stride(e.hands);
}

void RiverCompressedStore::GetStrategy(FloatVec* out, int group, int sub, const float* defaultRow) {
  RequireOpen(group);
  if (regretRows) return regretRows->GetStrategy(out, group, sub, defaultRow);
  if (sumRows) return sumRows->GetStrategy(out, group, sub, defaultRow);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const int actions = Actions();
  for (int a = 0; a < actions; ++a) ResizeVector(out[a], hands);
  for (int32_t i = 0; i < hands; ++i) {
    int64_t sum = 0;
    for (int a = 0; a < actions; ++a) sum += PlainRow(group, entry, a)[i];
    for (int a = 0; a < actions; ++a)
      out[a].data[i] = sum > 0 ? float(PlainRow(group, entry, a)[i]) / float(sum) : defaultRow[a];
  }
}

bool RiverCompressedStore::GetStrategyTimesReach(FloatVec* out, const FloatVec& reach, int group, int sub,
                                                 const float* defaultRow) {
  RequireOpen(group);
  return regretRows && regretRows->GetStrategyTimesReach(out, reach, group, sub, defaultRow);
}

void RiverCompressedStore::SetRow(int group, int sub, int action, const float* row) {
  RequireOpen(group);
  if (regretRows) return regretRows->SetRow(group, sub, action, row);
  if (sumRows) return sumRows->SetRow(group, sub, action, row);
  int32_t* target = PlainRow(group, layout->EntryIndex(group, sub), action);
  const int32_t hands = HandCount(group, sub);
  for (int32_t i = 0; i < hands; ++i) {
    const float x = std::trunc(row[i]);
    target[i] = x >= 2147483520.0f ? 2147483520 : x > 0.0f ? int32_t(x) : 0;  // NaN gives 0
  }
}

void RiverCompressedStore::UpdateRegrets(int group, int sub, const FloatVec& baseline, const FloatVec* values,
                                         const TieGroups* tieGroups, double weight, int32_t iteration) {
  RequireOpen(group);
  if (regretRows) regretRows->UpdateRegrets(group, sub, baseline, values, tieGroups, weight, iteration);
}

bool RiverCompressedStore::UpdateFused(int group, int sub, FloatVec& out, const FloatVec* values,
                                       const TieGroups* tieGroups, double weight, const float* defaultRow,
                                       int32_t iteration) {
  RequireOpen(group);
  return regretRows && regretRows->UpdateFused(group, sub, out, values, tieGroups, weight, defaultRow, iteration);
}

void RiverCompressedStore::AccumulateStrategy(int group, int sub, const FloatVec* values, double weight) {
  if (!(weight > 0.0)) return;
  RequireOpen(group);
  if (regretRows) return;
  if (sumRows) return sumRows->AccumulateStrategy(group, sub, values, weight);
  const int32_t entry = layout->EntryIndex(group, sub);
  const int32_t hands = HandCount(group, sub);
  const uint8_t* mask = locks[size_t(entry)].handMask.get();
  const float w = float(weight);
  for (int a = 0; a < Actions(); ++a) {
    const float* value = values[a].data;
    if (!value) continue;
    int32_t* row = PlainRow(group, entry, a);
    for (int32_t i = 0; i < hands; ++i) {
      if (mask && mask[i]) continue;
      // A weight of 1 skips the product; the sum is the same.
      const float added = w == 1.0f ? 0.5f + value[i] + float(row[i]) : 0.5f + w * value[i] + float(row[i]);
      row[i] = added >= 2147483520.0f ? 2147483520 : added > 0.0f ? int32_t(added) : 0;
    }
  }
}

void RiverCompressedStore::Save(TreeWriter& out) const {
  for (int32_t e = 0; e < layout->entryCount; ++e) {
    const LockRecord& lock = regretRows ? regretRows->locks[size_t(e)]
                             : sumRows  ? sumRows->locks[size_t(e)]
                                        : locks[size_t(e)];
    WriteLockRecord(out, lock);
  }
  if (sumRows) out.Write(sumRows->rowShift.data(), sumRows->rowShift.size());
  // Any block saves them all: a turn never dealt to the first group would
  // otherwise cost every other group its rows.
  bool blocks = false;
  for (const std::unique_ptr<MemoryArena>& arena : arenas) blocks |= arena != nullptr;
  out.WriteValue(uint8_t(blocks ? 1 : 0));
  if (blocks)
    for (const std::unique_ptr<MemoryArena>& arena : arenas) {
      if (arena) {
        arena->Save(out);
      } else {
        // A group never written saves as an empty block of its kind.
        MakeLoadedArena(int(&arena - arenas.data()))->Save(out);
      }
    }
  if (regretRows && out.formatVersion >= EntryScaleFormatVersion)
    out.Write(regretRows->entryScale.data(), regretRows->entryScale.size() * sizeof(float));
}

bool RiverCompressedStore::Load(TreeReader& in) {
  const int32_t formatVersion = in.formatVersion;
  Release();
  for (int32_t e = 0; e < layout->entryCount; ++e) {
    LockRecord& lock = regretRows ? regretRows->locks[size_t(e)]
                       : sumRows  ? sumRows->locks[size_t(e)]
                                  : locks[size_t(e)];
    if (!ReadLockRecord(in, lock, layout->entries[size_t(e)].hands)) return false;
  }
  if (sumRows && !in.Read(sumRows->rowShift.data(), sumRows->rowShift.size())) return false;
  if (sumRows && !RowShiftsValid(sumRows->rowShift.data(), sumRows->rowShift.size())) {
    Release();
    in.Fail();
    return false;
  }
  uint8_t blocks = 0;
  in.ReadValue(blocks);
  if (in.Failed() || blocks > 1) {
    in.Fail();
    return false;
  }
  if (blocks) {
    for (size_t g = 0; g < arenas.size(); ++g) {
      arenas[g] = MakeLoadedArena(int(g));
      if (!arenas[g]->Load(in)) {
        Release();
        return false;
      }
    }
  }
  if (regretRows && formatVersion >= EntryScaleFormatVersion) {
    std::vector<float>& scales = regretRows->entryScale;
    // The scale enters every step's weight and the rescale test.
    if (!in.Read(scales.data(), scales.size() * sizeof(float)) || !AllFinitePositive(scales.data(), scales.size())) {
      in.Fail();
      Release();
      return false;
    }
  }
  return true;
}
