// Compressed river store: what a first open finds, the block a close leaves
// (and doesn't touch without write), the order in which rows are coded,
// chains of stores sharing a block, each form's arithmetic on the decoded
// rows, and the file form with its damage.
#include "storage/river_compressed_store.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <memory>
#include <vector>

#include "setup/settings.h"
#include "storage/memory_arena.h"
#include "storage/packed_arena.h"
#include "storage/stream_arena.h"
#include "storage/tree_stream.h"
#include "../setup/setup_test_util.h"
#include "store_test_util.h"

namespace {

using Form = RiverCompressedStore::Form;
using Row = std::vector<uint32_t>;

bool LoadAt(RiverCompressedStore& store, TreeReader& in, int32_t formatVersion) {
  in.formatVersion = formatVersion;
  return store.Load(in);
}

// One action's row of an open group, widened to 32 bits.
Row WorkRow(const RiverCompressedStore& store, int group, int32_t entry, int action) {
  const RiverLayout& layout = *store.layout;
  const RiverLayout::Entry& e = layout.entries[size_t(entry)];
  const int64_t at = e.offset - layout.groupSpans[size_t(group)].offset + int64_t(action) * RiverLayout::Stride(e.hands);
  Row row(static_cast<size_t>(e.hands));
  for (int32_t i = 0; i < e.hands; ++i)
    row[size_t(i)] = store.is16Bit ? static_cast<const uint16_t*>(store.workRows[size_t(group)])[at + i]
                                   : static_cast<const uint32_t*>(store.workRows[size_t(group)])[at + i];
  return row;
}

// All rows of an open group, [entry in group][action].
std::vector<std::vector<Row>> GroupRows(const RiverCompressedStore& store, int group) {
  const RiverLayout::Group& g = store.layout->groups[size_t(group)];
  std::vector<std::vector<Row>> rows(size_t(g.entryCount));
  for (int32_t s = 0; s < g.entryCount; ++s)
    for (int a = 0; a < store.layout->actions; ++a) rows[size_t(s)].push_back(WorkRow(store, group, g.firstEntry + s, a));
  return rows;
}

// Sets every row of an open group to numbers that fit the form, neighbouring
// rivers alike as real rows are; returns them as set.
std::vector<std::vector<Row>> FillGroup(RiverCompressedStore& store, int group, uint32_t seed) {
  TestNumbers numbers{seed};
  const RiverLayout::Group& g = store.layout->groups[size_t(group)];
  std::vector<std::vector<Row>> rows(size_t(g.entryCount));
  for (int32_t s = 0; s < g.entryCount; ++s)
    for (int a = 0; a < store.layout->actions; ++a) {
      const int32_t hands = store.HandCount(group, s);
      Row row(static_cast<size_t>(hands));
      std::vector<float> values(static_cast<size_t>(hands));
      for (int32_t i = 0; i < hands; ++i) {
        const uint32_t near = s > 0 && i < int32_t(rows[size_t(s - 1)][size_t(a)].size())
                                  ? rows[size_t(s - 1)][size_t(a)][size_t(i)] + numbers.Next() % 5
                                  : numbers.Next() % 3000;
        row[size_t(i)] = numbers.Next() % 9 == 0 ? numbers.Next() % 30000 : near % 30000;
        values[size_t(i)] = float(row[size_t(i)]);
      }
      store.SetRow(group, s, a, values.data());
      rows[size_t(s)].push_back(row);
    }
  return rows;
}

std::vector<uint8_t> Saved(const MemoryArena& arena) {
  std::vector<uint8_t> bytes;
  TreeWriter writer(bytes);
  arena.Save(writer);
  return bytes;
}

std::vector<uint8_t> Saved(const RiverCompressedStore& store) {
  std::vector<uint8_t> bytes;
  TreeWriter writer(bytes);
  store.Save(writer);
  return bytes;
}

// A store alone in its chain: it supplies its own block.
void Open(RiverCompressedStore& store, int group) {
  MemoryArena* arena = store.OpenGroup(nullptr, group, store.EntryCount(group));
  arena->EndRead();
}
void Close(RiverCompressedStore& store, int group, bool write) {
  if (MemoryArena* arena = store.CloseGroup(nullptr, group, write); arena && write) arena->EndWrite();
}

constexpr Form AllForms[] = {Form::Regret, Form::ShiftedSum, Form::PlainSum};

// A group's life: a first open finds no data (zeros, so the default
// strategy), a close with write leaves a block that gives the rows back,
// and a close without write leaves that block byte for byte as it was.
TEST(RiverCompressedStore, OpenAndCloseKeepTheBlockUnlessWriting) {
  const RiverLayout layout = MakeRiverLayout(3, {{4, 6}, {9, 4, 11}});
  const float fallback[] = {0.25f, 0.25f, 0.5f};
  for (uint32_t level : {1u, 2u})
    for (Form form : AllForms) {
      SCOPED_TRACE(testing::Message() << "level " << level << " form " << int(form));
      RiverCompressedStore store(&layout, level, form);
      EXPECT_EQ(store.EntryCount(0), 3 * (4 + 6));
      EXPECT_EQ(store.EntryCount(-1), 3 * (4 + 6 + 9 + 4 + 11));
      Open(store, 1);
      EXPECT_TRUE(store.IsOpen(1));
      EXPECT_FALSE(store.IsOpen(0));
      EXPECT_FALSE(store.Block(1)->HasData());
      for (int a = 0; a < 3; ++a) EXPECT_EQ(WorkRow(store, 1, 4, a), Row(11, 0));
      FloatVec out[3];
      store.GetStrategy(out, 1, 1, fallback);
      for (int a = 0; a < 3; ++a) EXPECT_EQ(ToVector(out[a]), std::vector<float>(4, fallback[a]));
      Close(store, 1, false);
      EXPECT_FALSE(store.IsOpen(1));
      EXPECT_EQ(store.Block(1), nullptr);  // nothing written: the store is as it was
      EXPECT_EQ(store.CloseGroup(nullptr, 1, true), nullptr);  // closing a closed group does nothing

      Open(store, 1);
      const auto written = FillGroup(store, 1, 7);
      Close(store, 1, true);
      const std::vector<uint8_t> before = Saved(*store.Block(1));
      Open(store, 1);
      EXPECT_EQ(GroupRows(store, 1), written);
      FillGroup(store, 1, 8);
      Close(store, 1, false);
      EXPECT_EQ(Saved(*store.Block(1)), before);
      Open(store, 1);
      EXPECT_EQ(GroupRows(store, 1), written);
      Close(store, 1, false);
    }
}

TEST(RiverCompressedStoreDeathTest, ReadingAClosedGroupEndsTheProcess) {
  const RiverLayout layout = MakeRiverLayout(2, {{3}});
  const float fallback[] = {0.5f, 0.5f};
  EXPECT_EXIT(
      {
        dup2(2, 1);
        RiverCompressedStore store(&layout, 2, Form::Regret);
        FloatVec out[2];
        store.GetStrategy(out, 0, 0, fallback);
      },
      ::testing::ExitedWithCode(1), "fail \\(not open\\)");
}

// The block is compared with one written here straight into an arena in
// the documented order: actions outside, the group's rivers inside, each
// row predicted by the same action's row of the river before unless it has
// more hands than that one. Blocks written in other orders differ, which
// shows the comparison can tell.
TEST(RiverCompressedStore, RowsAreCodedActionByActionWithThePreviousRiverAsPredictor) {
  const std::vector<int32_t> hands = {7, 12, 5, 5};  // the second river has more hands than the first
  const RiverLayout layout = MakeRiverLayout(2, {{3, 3}, hands});
  for (Form form : {Form::Regret, Form::PlainSum}) {
    RiverCompressedStore store(&layout, 2, form);
    Open(store, 1);
    const auto rows = FillGroup(store, 1, 11);
    Close(store, 1, true);

    auto writeOwn = [&](bool actionsOutside, bool predict) {
      StreamArena arena(store.EntryCount(1));
      arena.BeginWrite();
      auto write = [&](size_t s, int a) {
        const bool chained = predict && s > 0 && hands[s] <= hands[s - 1];
        const Row& row = rows[s][size_t(a)];
        const Row* previous = chained ? &rows[s - 1][size_t(a)] : nullptr;
        if (form == Form::PlainSum) {
          arena.WriteRow32(row.data(), previous ? previous->data() : nullptr, row.size());
        } else {
          const std::vector<uint16_t> narrow(row.begin(), row.end());
          std::vector<uint16_t> before;
          if (previous) before.assign(previous->begin(), previous->end());
          arena.WriteRow16(narrow.data(), previous ? before.data() : nullptr, narrow.size());
        }
      };
      if (actionsOutside) {
        for (int a = 0; a < 2; ++a)
          for (size_t s = 0; s < hands.size(); ++s) write(s, a);
      } else {
        for (size_t s = 0; s < hands.size(); ++s)
          for (int a = 0; a < 2; ++a) write(s, a);
      }
      arena.EndWrite();
      return Saved(arena);
    };
    const std::vector<uint8_t> stored = Saved(*store.Block(1));
    EXPECT_EQ(stored, writeOwn(true, true));
    EXPECT_NE(stored, writeOwn(false, true));
    EXPECT_NE(stored, writeOwn(true, false));

    Open(store, 1);
    EXPECT_EQ(GroupRows(store, 1), rows);
    Close(store, 1, false);
  }
}

// Nodes of one player below a turn share the first node's block, whatever
// their action counts: the later stores own none.
TEST(RiverCompressedStore, AChainOfStoresSharesTheFirstStoresBlock) {
  const RiverLayout two = MakeRiverLayout(2, {{6, 8}, {8, 3, 9}});
  const RiverLayout three = MakeRiverLayout(3, {{6, 8}, {8, 3, 9}});
  for (uint32_t level : {1u, 2u}) {
    RiverCompressedStore first(&two, level, Form::ShiftedSum), second(&three, level, Form::ShiftedSum);
    const int64_t total = first.EntryCount(1) + second.EntryCount(1);
    auto open = [&] {
      MemoryArena* arena = first.OpenGroup(nullptr, 1, total);
      EXPECT_EQ(second.OpenGroup(arena, 1, total), arena);
      arena->EndRead();
    };
    auto close = [&](bool write) {
      MemoryArena* arena = first.CloseGroup(nullptr, 1, write);
      EXPECT_EQ(second.CloseGroup(arena, 1, write), arena);
      if (write) arena->EndWrite();
    };
    open();
    const auto rowsFirst = FillGroup(first, 1, 21), rowsSecond = FillGroup(second, 1, 22);
    close(true);
    EXPECT_EQ(second.Block(1), nullptr);
    ASSERT_NE(first.Block(1), nullptr);
    EXPECT_TRUE(first.Block(1)->HasData());
    open();
    EXPECT_EQ(GroupRows(first, 1), rowsFirst) << level;
    EXPECT_EQ(GroupRows(second, 1), rowsSecond) << level;
    close(false);
  }
}

// The regret form is the 16-bit regret store working on decoded rows: the
// same calls give the same strategies, also after the rows went through a
// block, and the entry scales of the rescale check stay with the store.
TEST(RiverCompressedStore, RegretFormFollowsThe16BitRegretStore) {
  ScopedValue<RelaxedSetting<bool>> adaptive{AdaptivePrecision, true};
  ScopedValue<RelaxedSetting<double>> precision{PrecisionExponent, 0.0};
  const RiverLayout layout = MakeRiverLayout(3, {{5, 9}, {7}});
  const float fallback[] = {0.2f, 0.3f, 0.5f};
  for (uint32_t level : {1u, 2u}) {
    RiverU16Store plain(&layout);
    ASSERT_TRUE(plain.Allocate());
    RiverCompressedStore packed(&layout, level, Form::Regret);
    Open(packed, 0);
    Open(packed, 1);
    for (StrategyStore* store : {static_cast<StrategyStore*>(&plain), static_cast<StrategyStore*>(&packed)}) {
      LockRecord* lock = store->GetLockRecord(0, 1);
      lock->flags = ComboLockedFlag;
      lock->handMaskSize = 9;
      lock->handMask = std::make_unique<uint8_t[]>(9);
      lock->handMask[2] = lock->handMask[7] = 1;
    }
    TestNumbers numbers{5};
    const TieGroups ties = {2, 1, 3, 1};  // 7 hands of group 1
    for (int32_t iteration = 1; iteration <= 40; ++iteration) {
      const bool through = iteration % 7 == 0;  // now and then the rows go through the block
      if (through) {
        Close(packed, 0, true);
        Close(packed, 1, true);
        Open(packed, 0);
        Open(packed, 1);
      }
      for (int group = 0; group < 2; ++group)
        for (int sub = 0; sub < layout.groups[size_t(group)].entryCount; ++sub) {
          const int32_t hands = plain.HandCount(group, sub);
          std::vector<float> base(static_cast<size_t>(hands)), value[3];
          for (auto& v : base) v = numbers.Uniform(-40, 40);
          for (auto& row : value) {
            row.resize(static_cast<size_t>(hands));
            for (auto& v : row) v = numbers.Uniform(-60, 60);
          }
          const FloatVec baseline = MakeRow(base);
          const FloatVec values[3] = {MakeRow(value[0]), MakeRow(value[1]), MakeRow(value[2])};
          const double weight = numbers.Uniform(0.5f, 3.0f);
          const TieGroups* tie = group == 1 ? &ties : nullptr;
          bool fused = false;
          if (iteration % 3 == 0) {
            FloatVec outPlain, outPacked;
            fused = plain.UpdateFused(group, sub, outPlain, values, tie, weight, fallback, iteration);
            ASSERT_EQ(fused, packed.UpdateFused(group, sub, outPacked, values, tie, weight, fallback, iteration));
            if (fused) {
              EXPECT_EQ(ToVector(outPlain), ToVector(outPacked));
            }
          }
          if (!fused) {  // as the solver goes the long way
            plain.UpdateRegrets(group, sub, baseline, values, tie, weight, iteration);
            packed.UpdateRegrets(group, sub, baseline, values, tie, weight, iteration);
          }
          FloatVec a[3], b[3];
          plain.GetStrategy(a, group, sub, fallback);
          packed.GetStrategy(b, group, sub, fallback);
          for (int x = 0; x < 3; ++x)
            ASSERT_EQ(ToVector(a[x]), ToVector(b[x])) << "level " << level << " iteration " << iteration;
          const FloatVec reach = MakeRow(std::vector<float>(size_t(hands), 0.5f));
          ASSERT_EQ(plain.GetStrategyTimesReach(a, reach, group, sub, fallback),
                    packed.GetStrategyTimesReach(b, reach, group, sub, fallback));
          for (int x = 0; x < 3; ++x) EXPECT_EQ(ToVector(a[x]), ToVector(b[x]));
        }
    }
    EXPECT_EQ(packed.EntryScale(), plain.entryScale);
    bool grown = false;
    for (float scale : plain.entryScale) grown |= scale != 1.0f;
    EXPECT_TRUE(grown) << "the rescale check never ran";
    Close(packed, 0, false);
    Close(packed, 1, false);
  }
}

// Sum forms, by hand. Plain: row = trunc(0.5 + w * v + row) on unlocked
// hands, strategy row / sum or the default where the sum is 0. Shifted:
// the 16-bit sum halves the row when an element passes 32767.
TEST(RiverCompressedStore, SumFormsAccumulateAsWorkedByHand) {
  const RiverLayout layout = MakeRiverLayout(2, {{4}});
  const float fallback[] = {0.4f, 0.6f};
  RiverCompressedStore plain(&layout, 1, Form::PlainSum);
  LockRecord* lock = plain.GetLockRecord(0, 0);
  lock->flags = ComboLockedFlag;
  lock->handMaskSize = 4;
  lock->handMask = std::make_unique<uint8_t[]>(4);
  lock->handMask[3] = 1;
  Open(plain, 0);
  plain.SetRow(0, 0, 0, std::vector<float>{0, 0, 0, 5}.data());
  FloatVec values[2] = {MakeRow({1.2f, 0.4f, 0, 9}), MakeRow({0.3f, 0, 0, 9})};
  plain.AccumulateStrategy(0, 0, values, 2.5);  // 3.5, 1.5, 0.5 and 1.25, 0.5, 0.5
  EXPECT_EQ(WorkRow(plain, 0, 0, 0), (Row{3, 1, 0, 5}));
  EXPECT_EQ(WorkRow(plain, 0, 0, 1), (Row{1, 0, 0, 0}));
  plain.AccumulateStrategy(0, 0, values, 0.0);
  plain.AccumulateStrategy(0, 0, values, -1.0);
  values[0] = MakeRow({2.6f, 0.5f, 0, 9});
  values[1] = MakeRow({0.4f, 0, 0, 9});
  plain.AccumulateStrategy(0, 0, values, 1.0);  // 6.1, 2.0, 0.5 and 1.9, 0.5, 0.5
  EXPECT_EQ(WorkRow(plain, 0, 0, 0), (Row{6, 2, 0, 5}));
  EXPECT_EQ(WorkRow(plain, 0, 0, 1), (Row{1, 0, 0, 0}));
  Close(plain, 0, true);
  Open(plain, 0);
  FloatVec out[2];
  plain.GetStrategy(out, 0, 0, fallback);
  EXPECT_FLOAT_EQ(out[0].data[0], 6.0f / 7.0f);
  EXPECT_FLOAT_EQ(out[1].data[0], 1.0f / 7.0f);
  EXPECT_EQ(out[0].data[1], 1.0f);
  EXPECT_EQ(out[1].data[1], 0.0f);
  EXPECT_EQ(out[0].data[2], 0.4f);
  EXPECT_EQ(out[1].data[2], 0.6f);
  EXPECT_EQ(out[0].data[3], 1.0f);

  RiverCompressedStore shifted(&layout, 2, Form::ShiftedSum);
  Open(shifted, 0);
  values[0] = MakeRow({30000, 10, 0, 0});
  values[1] = MakeRow({1000, 0, 0, 0});
  shifted.AccumulateStrategy(0, 0, values, 1.0);
  values[0] = MakeRow({5000, 3, 0, 0});
  values[1] = MakeRow({0, 0, 0, 0});
  shifted.AccumulateStrategy(0, 0, values, 1.0);  // 35000 passes 32767: halved
  EXPECT_EQ(WorkRow(shifted, 0, 0, 0), (Row{17500, 6, 0, 0}));
  EXPECT_EQ(WorkRow(shifted, 0, 0, 1), (Row{1000, 0, 0, 0}));
  Close(shifted, 0, true);
  Open(shifted, 0);
  shifted.GetStrategy(out, 0, 0, fallback);
  EXPECT_NEAR(out[0].data[0], 35000.0 / 36000.0, 1e-6);
  EXPECT_NEAR(out[1].data[0], 1000.0 / 36000.0, 1e-6);
  EXPECT_EQ(out[0].data[1], 1.0f);
  EXPECT_EQ(out[1].data[2], 0.6f);
  Close(shifted, 0, false);
  Close(plain, 0, false);
}

TEST(RiverCompressedStore, FileFormRoundTripsAndDamageIsRefused) {
  const RiverLayout layout = MakeRiverLayout(2, {{6, 10}, {8}});
  for (uint32_t level : {1u, 2u})
    for (Form form : AllForms) {
      RiverCompressedStore store(&layout, level, form);
      // Without blocks: the locks (4 bytes each), the row shifts, a 0 byte,
      // the entry scales.
      const std::vector<uint8_t> empty = Saved(store);
      const size_t shifts = form == Form::ShiftedSum ? 3 * 2 : 0, scales = form == Form::Regret ? 3 * 4 : 0;
      ASSERT_EQ(empty.size(), 3 * 4 + shifts + 1 + scales);
      EXPECT_EQ(empty[3 * 4 + shifts], 0);

      store.GetLockRecord(0, 0)->flags = LockedFlag;
      LockRecord* combo = store.GetLockRecord(1, 0);
      combo->flags = ComboLockedFlag;
      combo->handMaskSize = 8;
      combo->handMask = std::make_unique<uint8_t[]>(8);
      combo->handMask[0] = combo->handMask[4] = combo->handMask[5] = 1;
      Open(store, 0);
      const auto rows = FillGroup(store, 0, 31);
      if (form == Form::ShiftedSum) {
        // A shift on one row: its element passes the limit.
        FloatVec values[2] = {MakeRow(std::vector<float>(10, 40000.0f)), FloatVec()};
        store.AccumulateStrategy(0, 1, values, 1.0);
      }
      Close(store, 0, true);
      if (form == Form::Regret) store.EntryScale() = {1.0f, 8.0f, 0.5f};
      const std::vector<uint8_t> record = Saved(store);

      RiverCompressedStore loaded(&layout, level, form);
      TreeReader reader(record.data(), record.size());
      ASSERT_TRUE(LoadAt(loaded, reader, 10));
      EXPECT_EQ(reader.Remaining(), 0u);
      EXPECT_EQ(Saved(loaded), record);
      EXPECT_EQ(loaded.GetLockRecord(0, 0)->flags, LockedFlag);
      EXPECT_EQ(loaded.GetLockRecord(0, 1)->flags, 0u);
      const LockRecord* mask = loaded.GetLockRecord(1, 0);
      ASSERT_EQ(mask->flags, ComboLockedFlag);
      ASSERT_EQ(mask->handMaskSize, 8);
      EXPECT_EQ(std::vector<uint8_t>(mask->handMask.get(), mask->handMask.get() + 8),
                (std::vector<uint8_t>{1, 0, 0, 0, 1, 1, 0, 0}));
      if (form == Form::Regret) {
        EXPECT_EQ(loaded.EntryScale(), (std::vector<float>{1.0f, 8.0f, 0.5f}));
      }
      Open(loaded, 0);
      Open(store, 0);
      EXPECT_EQ(GroupRows(loaded, 0), GroupRows(store, 0));
      if (form != Form::ShiftedSum) {
        EXPECT_EQ(GroupRows(loaded, 0), rows);
      }
      Close(store, 0, false);
      Close(loaded, 0, false);
      Open(loaded, 1);  // saved as an empty block of its kind
      EXPECT_FALSE(loaded.Block(1)->HasData());
      EXPECT_EQ(WorkRow(loaded, 1, 2, 1), Row(8, 0));
      Close(loaded, 1, false);

      // Before entry scales were saved a record ends after the blocks.
      if (form == Form::Regret) {
        RiverCompressedStore old(&layout, level, form);
        TreeReader cut(record.data(), record.size() - 12);
        EXPECT_TRUE(LoadAt(old, cut, EntryScaleFormatVersion - 1));
        EXPECT_EQ(old.EntryScale(), std::vector<float>(3, 1.0f));
      }

      RiverCompressedStore none(&layout, level, form);
      TreeReader emptyReader(empty.data(), empty.size());
      ASSERT_TRUE(LoadAt(none, emptyReader, 10));
      EXPECT_EQ(none.Block(0), nullptr);
      Open(none, 0);
      EXPECT_EQ(WorkRow(none, 0, 1, 0), Row(10, 0));
      Close(none, 0, false);

      // Every cut is refused and leaves no block; so are a blocks byte
      // above 1 and a mask longer than its board.
      for (size_t size = 0; size < record.size(); ++size) {
        RiverCompressedStore target(&layout, level, form);
        TreeReader shortReader(record.data(), size);
        EXPECT_FALSE(LoadAt(target, shortReader, 10)) << size;
        EXPECT_EQ(target.Block(0), nullptr) << size;
      }
      std::vector<uint8_t> damaged = record;
      const size_t blocksByte = 4 + 4 + (4 + 2 + 2 + 2 * 5) + shifts;  // a mask of runs 0, 1, 3, 2, 2
      ASSERT_EQ(damaged[blocksByte], 1);
      damaged[blocksByte] = 2;
      RiverCompressedStore target(&layout, level, form);
      TreeReader badByte(damaged.data(), damaged.size());
      EXPECT_FALSE(LoadAt(target, badByte, 10));
      damaged = record;
      damaged[4 + 4 + 4] = 9;  // the mask's size, above the board's 8 hands
      TreeReader badMask(damaged.data(), damaged.size());
      EXPECT_FALSE(LoadAt(target, badMask, 10));
      // A row shift above 31, an entry scale that isn't a positive number.
      if (form != Form::PlainSum) {
        damaged = record;
        if (form == Form::ShiftedSum) damaged[blocksByte - 1] = 32;
        if (form == Form::Regret) std::memcpy(damaged.data() + damaged.size() - 4, "\0\0\xC0\x7F", 4);  // NaN
        TreeReader badNumber(damaged.data(), damaged.size());
        EXPECT_FALSE(LoadAt(target, badNumber, 10));
      }
      // Bytes of the blocks flipped one at a time: refused or loaded, never
      // a crash. (Rows that don't decode stop the process in the codec.)
      for (size_t at = blocksByte + 1; at < record.size(); at += 3) {
        damaged = record;
        damaged[at] ^= 0x5A;
        TreeReader flipped(damaged.data(), damaged.size());
        if (LoadAt(target, flipped, 10)) {
          EXPECT_EQ(Saved(target).size(), record.size());
        }
      }
    }
}

}  // namespace
