#include "storage/flop_store.h"

#include <gtest/gtest.h>

#include <cmath>

#include "storage/kernels/float_regret_update.h"
#include "storage/kernels/regret_matching.h"
#include "storage/turn_store.h"
#include "store_test_util.h"

namespace {

// Regret matching by its definition, in the same float operations.
std::vector<std::vector<float>> MatchReference(const std::vector<std::vector<float>>& rows,
                                               const std::vector<float>& fallback) {
  size_t hands = rows[0].size();
  std::vector<std::vector<float>> out(rows.size(), std::vector<float>(hands));
  for (size_t i = 0; i < hands; ++i) {
    float sum = 0.0f;
    for (const auto& row : rows) sum += row[i];
    for (size_t a = 0; a < rows.size(); ++a)
      out[a][i] = sum >= 1.1754944e-38f ? std::min(1.0f, rows[a][i] / sum) : fallback[a];
  }
  return out;
}

TEST(FlopStore, RegretMatchingAndFallback) {
  struct Case {
    std::vector<float> r0, r1, r2;
    std::vector<float> s0, s1, s2;
  };
  // Hands: all zero; total below the smallest normal float (two denormals);
  // plain ratios; one action only.
  const float tiny = 1e-39f;
  const Case cases[] = {
      {{0, tiny, 1, 0}, {0, tiny, 3, 0}, {0, 0, 4, 2}, {0.9f, 0.9f, 0.125f, 0}, {0.05f, 0.05f, 0.375f, 0},
       {0.05f, 0.05f, 0.5f, 1}},
  };
  const float fallback[] = {0.9f, 0.05f, 0.05f};
  for (const Case& c : cases) {
    FlopStore store(3, 4);
    ASSERT_TRUE(store.Allocate());
    store.SetRow(0, 0, 0, c.r0.data());
    store.SetRow(0, 0, 1, c.r1.data());
    store.SetRow(0, 0, 2, c.r2.data());
    FloatVec out[3];
    store.GetStrategy(out, 0, 0, fallback);
    EXPECT_EQ(ToVector(out[0]), c.s0);
    EXPECT_EQ(ToVector(out[1]), c.s1);
    EXPECT_EQ(ToVector(out[2]), c.s2);
  }
}

TEST(FlopStore, DefaultRowBeforeAllocate) {
  FlopStore store(2, 5);
  const float fallback[] = {0.25f, 0.75f};
  FloatVec out[2];
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(5, 0.25f));
  EXPECT_EQ(ToVector(out[1]), std::vector<float>(5, 0.75f));
  // Updates without memory do nothing and don't crash.
  FloatVec baseline = MakeRow({1, 1, 1, 1, 1});
  FloatVec values[2] = {MakeRow({2, 2, 2, 2, 2}), MakeRow({0, 0, 0, 0, 0})};
  store.UpdateRegrets(0, 0, baseline, values, nullptr, 1.0, 0);
  store.AccumulateStrategy(0, 0, values, 1.0);
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(5, 0.25f));
  EXPECT_EQ(store.EntryCount(-1), 10);
}

TEST(FlopStore, RegretUpdateIsPowerThreeQuartersFlooredAtZero) {
  // One action row, hands: d = 16 adds 8; d = 1/16 adds 0.125; d = -16 on 5
  // gives 0 (not -3); a masked hand; d = 0 keeps 7.
  FlopStore store(1, 5);
  ASSERT_TRUE(store.Allocate());
  const float start[] = {1, 2, 5, 4, 7};
  store.SetRow(0, 0, 0, start);
  store.lock.handMask.reset(new uint8_t[5]{0, 0, 0, 1, 0});
  store.lock.handMaskSize = 5;
  FloatVec baseline = MakeRow({0, 0, 16, 0, 3});
  FloatVec values[1] = {MakeRow({16, 0.0625f, 0, 100, 3})};
  store.UpdateRegrets(0, 0, baseline, values, nullptr, 123.0, 0);  // weight plays no part
  EXPECT_EQ(ToVector(store.rows[0]), (std::vector<float>{9, 2.125f, 0, 4, 7}));

  // A regret at 0 stays 0 under a negative step and comes back with a positive one.
  FloatVec down[1] = {MakeRow({0, 0, 0, 0, 0})};
  FloatVec zero = MakeRow({0, 0, 1, 0, 0});
  store.UpdateRegrets(0, 0, zero, down, nullptr, 1.0, 0);
  EXPECT_EQ(store.rows[0].data[2], 0.0f);
  FloatVec up[1] = {MakeRow({0, 0, 81, 0, 0})};
  FloatVec none;  // null baseline: zeros
  none.count = 5;
  store.UpdateRegrets(0, 0, none, up, nullptr, 1.0, 0);
  EXPECT_EQ(store.rows[0].data[2], 27.0f);  // 81^0.75
  // A null value row stands for zeros: d = -baseline.
  FloatVec missing[1];
  missing[0].count = 5;
  FloatVec base = MakeRow({16, 0, 0, 0, 0});
  store.UpdateRegrets(0, 0, base, missing, nullptr, 1.0, 0);
  EXPECT_EQ(store.rows[0].data[0], 1.0f);  // 9 - 8
}

TEST(FlopStore, AccumulateStrategy) {
  FlopStore store(2, 3);
  ASSERT_TRUE(store.Allocate());
  store.lock.handMask.reset(new uint8_t[3]{0, 1, 0});
  FloatVec values[2] = {MakeRow({1, 1, 0.5f}), FloatVec()};
  values[1].count = 3;  // a child nobody reaches: skipped
  store.AccumulateStrategy(0, 0, values, 0.0);
  store.AccumulateStrategy(0, 0, values, -1.0);
  EXPECT_EQ(ToVector(store.rows[0]), (std::vector<float>{0, 0, 0}));
  store.AccumulateStrategy(0, 0, values, 4.0);
  EXPECT_EQ(ToVector(store.rows[0]), (std::vector<float>{4, 0, 2}));
  EXPECT_EQ(ToVector(store.rows[1]), (std::vector<float>{0, 0, 0}));
}

TEST(TurnStore, ForwardsToTheTurnsChild) {
  TurnStore store(2, {3, 5});
  ASSERT_TRUE(store.Allocate());
  EXPECT_EQ(store.HandCount(1, 7), 5);
  EXPECT_EQ(store.EntryCount(0), 6);
  EXPECT_EQ(store.EntryCount(-1), 16);
  EXPECT_NE(store.GetLockRecord(0, 0), store.GetLockRecord(1, 0));
  EXPECT_EQ(store.GetLockRecord(1, 3), store.GetLockRecord(1, 0));
  const float row[] = {1, 2, 3, 4, 5};
  store.SetRow(1, 0, 0, row);
  const float fallback[] = {0.9f, 0.1f};
  FloatVec out[2];
  store.GetStrategy(out, 1, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(5, 1.0f));
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(3, 0.9f));
  FloatVec dummy;
  EXPECT_FALSE(store.UpdateFused(1, 0, dummy, out, nullptr, 1.0, fallback, 0));
  EXPECT_FALSE(store.GetStrategyTimesReach(out, dummy, 1, 0, fallback));
}

// Every hand count that leaves a tail, and the kernels for 2, 3 and n
// actions, against the definitions computed hand by hand.
TEST(FloatKernels, OddHandCountsMatchTheDefinition) {
  TestNumbers numbers;
  for (int hands : {1, 3, 5, 9, 17}) {
    for (int actions : {2, 3, 5}) {
      std::vector<std::vector<float>> rows(static_cast<size_t>(actions), std::vector<float>(static_cast<size_t>(hands)));
      for (auto& row : rows)
        for (float& x : row) x = numbers.Next() % 3 == 0 ? 0.0f : numbers.Uniform(0, 50);
      std::vector<float> fallback(size_t(actions), 1.0f / float(actions));
      auto expected = MatchReference(rows, fallback);
      std::vector<std::vector<float>> out(size_t(actions), std::vector<float>(size_t(hands) + 1, -7.0f));
      std::vector<const float*> in;
      std::vector<float*> target;
      for (int a = 0; a < actions; ++a) {
        in.push_back(rows[size_t(a)].data());
        target.push_back(out[size_t(a)].data());
      }
      if (actions == 2)
        RegretMatch2(in[0], in[1], target[0], target[1], hands, fallback.data());
      else if (actions == 3)
        RegretMatch3(in[0], in[1], in[2], target[0], target[1], target[2], hands, fallback.data());
      else
        RegretMatchN(in.data(), target.data(), actions, hands, fallback.data());
      for (int a = 0; a < actions; ++a) {
        for (int i = 0; i < hands; ++i)
          EXPECT_EQ(out[size_t(a)][size_t(i)], expected[size_t(a)][size_t(i)]) << hands << " " << a << " " << i;
        EXPECT_EQ(out[size_t(a)][size_t(hands)], -7.0f) << "wrote past the row";
      }
      if (actions > 3) continue;
      // That strategy times a reach, and which products reach anybody.
      std::vector<float> reach(static_cast<size_t>(hands));
      for (float& x : reach) x = numbers.Next() % 4 == 0 ? 0.0f : numbers.Uniform(0, 2);
      bool positive[3];
      FloatTimesReach(in.data(), reach.data(), target.data(), actions, hands, fallback.data(), positive);
      for (int a = 0; a < actions; ++a) {
        bool anyAbove = false;
        for (int i = 0; i < hands; ++i) {
          EXPECT_EQ(out[size_t(a)][size_t(i)], expected[size_t(a)][size_t(i)] * reach[size_t(i)]) << hands << " " << a;
          anyAbove |= out[size_t(a)][size_t(i)] > 0.0f;
        }
        EXPECT_EQ(positive[a], anyAbove) << hands << " " << a;
      }
      // The fused step: that strategy's value, then each row's step by its
      // action's value less it.
      std::vector<std::vector<float>> values(static_cast<size_t>(actions), std::vector<float>(static_cast<size_t>(hands)));
      for (auto& v : values)
        for (float& x : v) x = numbers.Uniform(-30, 30);
      std::vector<float> ev(static_cast<size_t>(hands) + 1, -7.0f), expectedEv(static_cast<size_t>(hands));
      auto expectedRows = rows;
      for (int i = 0; i < hands; ++i) {
        float e = 0.0f;
        for (int a = 0; a < actions; ++a) {
          const float term = expected[size_t(a)][size_t(i)] * values[size_t(a)][size_t(i)];
          e = a == 0 ? term : e + term;
        }
        expectedEv[size_t(i)] = e;
        for (int a = 0; a < actions; ++a) {
          const float d = values[size_t(a)][size_t(i)] - e;
          const float root = std::sqrt(std::fabs(d));
          const float r = rows[size_t(a)][size_t(i)] + (d < 0 ? -(root * std::sqrt(root)) : root * std::sqrt(root));
          expectedRows[size_t(a)][size_t(i)] = r < 1.1754944e-38f ? 0.0f : r;
        }
      }
      std::vector<float*> fusedRows;
      std::vector<const float*> fusedValues;
      for (int a = 0; a < actions; ++a) {
        fusedRows.push_back(rows[size_t(a)].data());
        fusedValues.push_back(values[size_t(a)].data());
      }
      FloatFused(fusedRows.data(), fusedValues.data(), ev.data(), actions, hands, fallback.data());
      for (int i = 0; i < hands; ++i) EXPECT_EQ(ev[size_t(i)], expectedEv[size_t(i)]) << hands << " fused value " << i;
      EXPECT_EQ(ev[size_t(hands)], -7.0f) << "wrote past the value";
      EXPECT_EQ(rows, expectedRows) << hands << " fused rows";
    }
    // The regret step by its definition.
    std::vector<float> row(static_cast<size_t>(hands) + 1, -3.0f), value(static_cast<size_t>(hands)), baseline(static_cast<size_t>(hands));
    std::vector<uint8_t> mask(static_cast<size_t>(hands));
    for (int i = 0; i < hands; ++i) {
      row[size_t(i)] = numbers.Uniform(0, 20);
      value[size_t(i)] = numbers.Uniform(-30, 30);
      baseline[size_t(i)] = numbers.Uniform(-30, 30);
      mask[size_t(i)] = numbers.Next() % 4 == 0;
    }
    std::vector<float> expected = row;
    for (int i = 0; i < hands; ++i) {
      if (mask[size_t(i)]) continue;
      float d = value[size_t(i)] - baseline[size_t(i)];
      float root = std::sqrt(std::fabs(d));
      float delta = root * std::sqrt(root);
      float r = row[size_t(i)] + (d < 0 ? -delta : delta);
      expected[size_t(i)] = r < 1.1754944e-38f ? 0.0f : r;
    }
    FloatRegretUpdate(row.data(), value.data(), baseline.data(), mask.data(), hands);
    EXPECT_EQ(row, expected) << hands;
  }
}

}  // namespace
