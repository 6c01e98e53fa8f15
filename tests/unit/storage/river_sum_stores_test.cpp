#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "storage/river_float_store.h"
#include "storage/river_shift_sum_store.h"
#include "storage/river_sum_store.h"
#include "store_test_util.h"

namespace {

std::vector<uint16_t> ShiftRow(const RiverShiftSumStore& store, int group, int entry, int action) {
  const RiverLayout::Entry& e = store.layout->entries[size_t(entry)];
  const uint16_t* row = store.groupBuffers[size_t(group)] + (e.offset - store.layout->groupSpans[size_t(group)].offset) +
                        action * RiverLayout::Stride(e.hands);
  return std::vector<uint16_t>(row, row + e.hands);
}

TEST(RiverShiftSumStore, AccumulateShiftsOnOverflow) {
  RiverLayout layout = MakeRiverLayout(2, {{3}});
  RiverShiftSumStore store(&layout);
  ASSERT_TRUE(store.Allocate());
  FloatVec values[2] = {MakeRow({4000, 1, 0}), MakeRow({100, 0, 0})};
  // w = 1 * 16: trunc(0.5 + 16 * v) = 64000, 16, 0 and 1600, 0, 0.
  store.AccumulateStrategy(0, 0, values, 1.0);
  EXPECT_EQ(ShiftRow(store, 0, 0, 0), (std::vector<uint16_t>{64000, 16, 0}));
  EXPECT_EQ(ShiftRow(store, 0, 0, 1), (std::vector<uint16_t>{1600, 0, 0}));
  EXPECT_EQ(store.rowShift[0], 0);

  // Totals 128000, 32, 1 (trunc(0.5 + 16 / 32) = 1) pass 65535 once: shifted by one.
  values[0] = MakeRow({4000, 1, 1.0f / 32});
  store.AccumulateStrategy(0, 0, values, 1.0);
  EXPECT_EQ(ShiftRow(store, 0, 0, 0), (std::vector<uint16_t>{64000, 16, 0}));
  EXPECT_EQ(store.rowShift[0], 1);
  EXPECT_EQ(ShiftRow(store, 0, 0, 1), (std::vector<uint16_t>{3200, 0, 0}));
  EXPECT_EQ(store.rowShift[1], 0);

  // Now w2 = 16 / 2 = 8 on row 0: trunc(0.5 + 8 * 1) = 8 each.
  values[0] = MakeRow({1, 1, 1});
  values[1] = MakeRow({0, 0, 0});
  store.AccumulateStrategy(0, 0, values, 1.0);
  EXPECT_EQ(ShiftRow(store, 0, 0, 0), (std::vector<uint16_t>{64008, 24, 8}));

  // True values: row 0 shifted left by one.
  const float fallback[] = {0.5f, 0.5f};
  FloatVec out[2];
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_FLOAT_EQ(out[0].data[0], 128016.0f / (128016.0f + 3200.0f));
  EXPECT_EQ(out[0].data[1], 1.0f);
  EXPECT_EQ(out[1].data[2], 0.0f);

  // Several shifts at once, and SetRow resets the shift.
  values[0] = MakeRow({200000, 0, 0});
  store.AccumulateStrategy(0, 0, values, 1.0);
  // 64008 + trunc(0.5 + 8 * 200000) = 1664008 needs 5 shifts: 52000.
  EXPECT_EQ(ShiftRow(store, 0, 0, 0), (std::vector<uint16_t>{52000, 0, 0}));
  EXPECT_EQ(store.rowShift[0], 6);
  const float row[] = {3, 2.9f, 70000};
  store.SetRow(0, 0, 0, row);
  EXPECT_EQ(ShiftRow(store, 0, 0, 0), (std::vector<uint16_t>{3, 2, 65535}));
  EXPECT_EQ(store.rowShift[0], 0);
}

TEST(RiverShiftSumStore, WeightZeroAndDefaults) {
  RiverLayout layout = MakeRiverLayout(3, {{2}, {1}});
  RiverShiftSumStore store(&layout);
  const float fallback[] = {0.2f, 0.3f, 0.5f};
  FloatVec out[3];
  store.GetStrategy(out, 1, 0, fallback);
  EXPECT_EQ(ToVector(out[2]), std::vector<float>{0.5f});
  ASSERT_TRUE(store.Allocate());
  FloatVec values[3] = {MakeRow({1, 1}), MakeRow({1, 1}), MakeRow({1, 1})};
  store.AccumulateStrategy(0, 0, values, 0.0);
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[1]), (std::vector<float>{0.3f, 0.3f}));
  EXPECT_EQ(store.EntryCount(-1), 9);
  EXPECT_EQ(store.EntryCount(0), 6);
}

TEST(RiverSumStore, WidensAGroupWhenAnEntrysWeightPasses65535) {
  RiverLayout layout = MakeRiverLayout(2, {{2, 1}, {1}});
  RiverSumStore store(&layout);
  ASSERT_TRUE(store.Allocate());
  const float kept[] = {0.25f};
  store.SetRow(0, 1, 1, kept);  // 10000 * 0.25 = 2500, in the other entry of group 0
  FloatVec values[2] = {MakeRow({0.5f, 1}), MakeRow({0, 0})};
  store.AccumulateStrategy(0, 0, values, 60000.0);
  EXPECT_EQ(store.groupWide[0], 0);
  EXPECT_EQ(store.Element(0, 0), 30000u);  // trunc(0.5 + 30000)
  EXPECT_EQ(store.Element(0, 1), 60000u);
  store.AccumulateStrategy(0, 0, values, 10000.0);  // entry weight 70000
  EXPECT_EQ(store.groupWide[0], 1);
  EXPECT_EQ(store.groupWide[1], 0);
  EXPECT_EQ(store.Element(0, 0), 35000u);
  EXPECT_EQ(store.Element(0, 1), 70000u);  // beyond 16 bits
  // Entry 1 of group 0 starts at element 8 (entry 0: stride 4, two actions); action 1 at 12.
  EXPECT_EQ(store.Element(0, 12), 2500u);
  const float fallback[] = {0.9f, 0.1f};
  FloatVec out[2];
  store.GetStrategy(out, 0, 1, fallback);
  EXPECT_EQ(ToVector(out[1]), std::vector<float>{1.0f});
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), (std::vector<float>{1.0f, 1.0f}));
  // A zero total gives 1 / actions, not the default row.
  store.GetStrategy(out, 1, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>{0.5f});
  store.GetStrategy(out, 1, 0, nullptr);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>{0.0f});
}

TEST(RiverFloatStore, RowsOfOddEntriesAndUntouchedGroups) {
  RiverLayout layout = MakeRiverLayout(2, {{1, 3, 5}, {9, 17}});
  RiverFloatStore store(&layout);
  ASSERT_TRUE(store.Allocate());
  EXPECT_EQ(store.ElementBytes(), 4);
  const float fallback[] = {0.9f, 0.1f};
  FloatVec out[2];
  // Group 1 was never written: it reads as the default row.
  store.GetStrategy(out, 1, 1, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(17, 0.9f));
  for (int sub = 0; sub < 3; ++sub) {
    const int hands = store.HandCount(0, sub);
    FloatVec baseline = MakeRow(std::vector<float>(size_t(hands), 1.0f));
    FloatVec values[2] = {MakeRow(std::vector<float>(size_t(hands), 17.0f)),
                          MakeRow(std::vector<float>(size_t(hands), 1.0f))};
    store.UpdateRegrets(0, sub, baseline, values, nullptr, 1.0, 0);  // 16^0.75 = 8 on action 0
  }
  store.locks[1].handMask.reset(new uint8_t[3]{0, 1, 0});
  FloatVec baseline = MakeRow({0, 0, 0});
  FloatVec values[2] = {MakeRow({-81, -81, -81}), MakeRow({81, 81, 81})};  // 81^0.75 = 27
  store.UpdateRegrets(0, 1, baseline, values, nullptr, 1.0, 0);
  store.GetStrategy(out, 0, 1, fallback);
  EXPECT_EQ(ToVector(out[0]), (std::vector<float>{0, 1, 0}));
  EXPECT_EQ(ToVector(out[1]), (std::vector<float>{1, 0, 1}));
  for (int sub : {0, 2}) {
    store.GetStrategy(out, 0, sub, fallback);
    EXPECT_EQ(ToVector(out[0]), std::vector<float>(size_t(store.HandCount(0, sub)), 1.0f)) << sub;
  }
  store.GetStrategy(out, 1, 0, fallback);
  EXPECT_EQ(ToVector(out[1]), std::vector<float>(9, 0.1f));
}

// The rivers of one turn are one group but separate jobs on separate
// threads. Whichever thread comes first clears the group; no thread's rows
// may be cleared after it wrote them. Each round starts all threads at
// once on a freshly allocated store, and each writes the rows of its own
// rivers with its own number and reads them back at the end, when every
// thread is done.
TEST(RiverFloatStore, FirstTouchFromManyThreadsKeepsEveryRow) {
  constexpr int Threads = 4, Rivers = 48, Hands = 1081, Rounds = 60;
  RiverLayout layout = MakeRiverLayout(2, {std::vector<int32_t>(Rivers, Hands)});
  RiverFloatStore store(&layout);
  for (int round = 0; round < Rounds; ++round) {
    ASSERT_TRUE(store.Allocate());
    std::atomic<int> waiting{Threads};
    int wrong = 0;
    std::vector<std::thread> team;
    for (int t = 0; t < Threads; ++t)
      team.emplace_back([&, t] {
        // Rivers t, t + Threads, ...: every thread has rows at both ends of
        // the group, where another thread's clear starts and ends.
        const std::vector<float> row(Hands, float(t + 1));
        waiting.fetch_sub(1);
        while (waiting.load() > 0) std::this_thread::yield();
        for (int r = t; r < Rivers; r += Threads) store.SetRow(0, r, 0, row.data());
      });
    for (std::thread& thread : team) thread.join();
    FloatVec out[2];
    const float fallback[] = {0.5f, 0.5f};
    for (int r = 0; r < Rivers; ++r) {
      // Action 1 was never written: a row kept gives probability 1 to
      // action 0, a row wiped gives the fallback.
      store.GetStrategy(out, 0, r, fallback);
      if (ToVector(out[0]) != std::vector<float>(Hands, 1.0f)) ++wrong;
    }
    ASSERT_EQ(wrong, 0) << "round " << round;
  }
}

}  // namespace
