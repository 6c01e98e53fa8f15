#include "storage/river_u16_store.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "setup/settings.h"
#include "storage/kernels/u16_regret_matching.h"
#include "storage/kernels/u16_regret_update.h"
#include "../setup/setup_test_util.h"
#include "store_test_util.h"

namespace {

// An iteration on which no rescale check runs, unless a test asks for one.
constexpr int32_t NoRescale = 1;

// The settings that the rescale check reads.
class U16StoreTest : public ::testing::Test {
 protected:
  ScopedValue<RelaxedSetting<bool>> adaptive_{AdaptivePrecision, true};
  ScopedValue<RelaxedSetting<double>> precision_{PrecisionExponent, 0.0};
};

std::vector<uint16_t> Elements(const RiverU16Store& store, int entry, int action) {
  const RiverLayout::Entry& e = store.layout->entries[size_t(entry)];
  const uint16_t* base = static_cast<const uint16_t*>(store.buffer) + e.offset + action * RiverLayout::Stride(e.hands);
  return std::vector<uint16_t>(base, base + e.hands);
}

void SetElements(RiverU16Store& store, int group, int sub, int action, const std::vector<float>& values) {
  store.SetRow(group, sub, action, values.data());
}

TEST(U16Kernel, StepsBandAndTruncation) {
  struct Case {
    float w;
    uint16_t start;
    float d;
    uint16_t expected;
  };
  const Case cases[] = {
      {1.0f, 10, 0.999f, 10},    // inside the band: nothing
      {1.0f, 10, -0.999f, 10},   // likewise downward
      {1.0f, 10, 1.0f, 11},      // exactly one unit
      {1.0f, 10, -1.0f, 9},      //
      {1.0f, 10, 16.0f, 18},     // 16^0.75 = 8
      {1.0f, 3, -16.0f, 0},      // a step below zero ends at 0
      {16.0f, 100, 2.5f, 115},   // (16 * 2.5)^0.75 = 40^0.75 = 15.905
      {16.0f, 100, -2.5f, 85},   //
      {16.0f, 100, 0.0625f, 101},  // d = 1/w: one unit
      {16.0f, 100, 0.06f, 100},    // just inside 1/w
      {1.0f, 65530, 16.0f, 65535},  // saturates instead of wrapping
  };
  for (const Case& c : cases) {
    uint16_t row[1] = {c.start};
    float value[1] = {c.d};
    U16RegretUpdate(row, value, nullptr, nullptr, 1, U16Step::ForWeight(c.w));
    EXPECT_EQ(row[0], c.expected) << "w " << c.w << " d " << c.d;
  }
}

TEST(U16Kernel, MaskedHandsAndTieAveraging) {
  uint16_t row[6] = {10, 10, 10, 10, 10, 10};
  const float value[6] = {16, 16, 16, 16, 16, 16};
  const float baseline[6] = {0, 0, 0, 0, 0, 32};
  const uint8_t mask[6] = {0, 1, 0, 0, 1, 0};
  U16RegretUpdate(row, value, baseline, mask, 6, U16Step::ForWeight(1.0f));
  EXPECT_EQ(std::vector<uint16_t>(row, row + 6), (std::vector<uint16_t>{18, 10, 18, 18, 10, 10 - 8}));

  // Runs of 3, 1 and 2 tied hands: integer quotients 7/3 = 2 and 21/2 = 10.
  uint16_t tied[6] = {1, 2, 4, 7, 10, 11};
  const uint16_t runs[3] = {3, 1, 2};
  AverageTies(tied, 6, runs, 3);
  EXPECT_EQ(std::vector<uint16_t>(tied, tied + 6), (std::vector<uint16_t>{2, 2, 2, 7, 10, 10}));
}

TEST_F(U16StoreTest, RescaleCheck) {
  struct Case {
    const char* name;
    int iteration;
    bool adaptive;
    float scale;      // entryScale before
    uint16_t largest; // the entry's largest element; the other is 10
    uint16_t expectedLargest;
    uint16_t expectedOther;
    float expectedScale;
  };
  const Case cases[] = {
      // 1024 / 100 = 10.24, rounded up to 16, limited to 8.
      {"grow by eight", 10, true, 1.0f, 100, 800, 80, 8.0f},
      {"grow by two", 20, true, 1.0f, 512, 1024, 20, 2.0f},
      {"at target", 10, true, 1.0f, 1024, 1024, 10, 1.0f},
      {"scale at 32 still grows", 10, true, 32.0f, 100, 800, 80, 256.0f},
      {"scale 64 doesn't grow", 10, true, 64.0f, 100, 100, 10, 64.0f},
      {"halved above 60000", 10, true, 64.0f, 60001, 30000, 5, 32.0f},
      {"not on iteration 11", 11, true, 1.0f, 100, 100, 10, 1.0f},
      {"not without adaptive precision", 10, false, 1.0f, 100, 100, 10, 1.0f},
  };
  RiverLayout layout = MakeRiverLayout(2, {{2}});
  for (const Case& c : cases) {
    RiverU16Store store(&layout);
    ASSERT_TRUE(store.Allocate());
    SetElements(store, 0, 0, 0, {float(c.largest), 0});
    SetElements(store, 0, 0, 1, {0, 10});
    store.entryScale[0] = c.scale;
    AdaptivePrecision = c.adaptive;
    store.RescaleCheck(0, 0, c.iteration);
    EXPECT_EQ(Elements(store, 0, 0), (std::vector<uint16_t>{c.expectedLargest, 0})) << c.name;
    EXPECT_EQ(Elements(store, 0, 1), (std::vector<uint16_t>{0, c.expectedOther})) << c.name;
    EXPECT_EQ(store.entryScale[0], c.expectedScale) << c.name;
  }
  // An all-zero entry isn't rescaled, and an update runs the check itself.
  RiverU16Store store(&layout);
  ASSERT_TRUE(store.Allocate());
  AdaptivePrecision = true;
  store.RescaleCheck(0, 0, 10);
  EXPECT_EQ(store.entryScale[0], 1.0f);
  FloatVec baseline = MakeRow({0, 0});
  FloatVec values[2] = {MakeRow({256, 0}), MakeRow({0, 0})};  // 256^0.75 = 64
  store.UpdateRegrets(0, 0, baseline, values, nullptr, 1.0, 10);
  EXPECT_EQ(Elements(store, 0, 0), (std::vector<uint16_t>{512, 0}));  // 64 * 8
  EXPECT_EQ(store.entryScale[0], 8.0f);
  // With precision 1 the target is 2048: 512 grows by 4, the scale is 32.
  PrecisionExponent = 1.0;
  store.RescaleCheck(0, 0, 10);
  EXPECT_EQ(Elements(store, 0, 0), (std::vector<uint16_t>{2048, 0}));
  EXPECT_EQ(store.entryScale[0], 32.0f);
}

TEST_F(U16StoreTest, EntryScaleEntersTheWeight) {
  RiverLayout layout = MakeRiverLayout(2, {{1}});
  RiverU16Store store(&layout);
  ASSERT_TRUE(store.Allocate());
  store.entryScale[0] = 4.0f;
  FloatVec baseline = MakeRow({0});
  FloatVec values[2] = {MakeRow({4}), MakeRow({0})};
  // w = 4 * 4 = 16: (16 * 4)^0.75 = 22.6 -> 22.
  store.UpdateRegrets(0, 0, baseline, values, nullptr, 4.0, NoRescale);
  EXPECT_EQ(Elements(store, 0, 0), std::vector<uint16_t>{22});
  // Without adaptive precision the scale is left out: (4 * 5)^0.75 = 9.46.
  AdaptivePrecision = false;
  FloatVec more[2] = {MakeRow({5}), MakeRow({0})};
  store.UpdateRegrets(0, 0, baseline, more, nullptr, 4.0, NoRescale);
  EXPECT_EQ(Elements(store, 0, 0), std::vector<uint16_t>{31});
}

TEST_F(U16StoreTest, StrategyDefaultsAndTimesReach) {
  RiverLayout layout = MakeRiverLayout(2, {{3}, {2}});
  RiverU16Store store(&layout);
  const float fallback[] = {0.9f, 0.1f};
  FloatVec out[2];
  store.GetStrategy(out, 0, 0, fallback);  // no buffer yet
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(3, 0.9f));
  FloatVec reach = MakeRow({2, 2, 2});
  EXPECT_FALSE(store.GetStrategyTimesReach(out, reach, 0, 0, fallback));
  ASSERT_TRUE(store.Allocate());
  SetElements(store, 1, 0, 0, {5, 5});
  SetElements(store, 0, 0, 0, {3, 0, 70000});  // clamps to 65535
  SetElements(store, 0, 0, 1, {1, 0, 0});
  store.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), (std::vector<float>{0.75f, 0.9f, 1.0f}));
  EXPECT_EQ(ToVector(out[1]), (std::vector<float>{0.25f, 0.1f, 0.0f}));
  ASSERT_TRUE(store.GetStrategyTimesReach(out, reach, 0, 0, fallback));
  EXPECT_EQ(ToVector(out[0]), (std::vector<float>{1.5f, 1.8f, 2.0f}));
  EXPECT_EQ(out[1].data[0], 0.5f);
  EXPECT_FLOAT_EQ(out[1].data[1], 0.2f);  // (1 - 0.9) * 2 in float
  EXPECT_EQ(out[1].data[2], 0.0f);

  // An out row that is all zero is released.
  SetElements(store, 0, 0, 1, {0, 0, 0});
  SetElements(store, 0, 0, 0, {1, 1, 1});
  ASSERT_TRUE(store.GetStrategyTimesReach(out, reach, 0, 0, fallback));
  EXPECT_NE(out[0].data, nullptr);
  EXPECT_EQ(out[1].data, nullptr);
  EXPECT_EQ(out[1].count, 3);
  FloatVec noReach;
  noReach.count = 3;
  ASSERT_TRUE(store.GetStrategyTimesReach(out, noReach, 0, 0, fallback));
  EXPECT_EQ(out[0].data, nullptr);
  EXPECT_EQ(out[0].count, 3);

  // A group nobody wrote reads as the default row, after others were written.
  RiverU16Store fresh(&layout);
  ASSERT_TRUE(fresh.Allocate());
  SetElements(fresh, 0, 0, 0, {7, 7, 7});
  fresh.GetStrategy(out, 1, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), (std::vector<float>{0.9f, 0.9f}));
  // A second Allocate clears everything, scales included.
  fresh.entryScale[0] = 8.0f;
  ASSERT_TRUE(fresh.Allocate());
  fresh.GetStrategy(out, 0, 0, fallback);
  EXPECT_EQ(ToVector(out[0]), std::vector<float>(3, 0.9f));
  EXPECT_EQ(fresh.entryScale[0], 1.0f);
}

// The element after a step by d with weight w, by the definition in double.
uint16_t ExpectedStep(uint16_t r, double d, double w) {
  if (std::fabs(d) < 1.0 / w) return r;
  double step = std::trunc(std::pow(w * std::fabs(d), 0.75));
  double x = d > 0 ? r + step : r - step;
  return uint16_t(std::clamp(x, 0.0, 65535.0));
}

// Whether float rounding could move the truncation or the band test of a
// step: the test data must stay clear of such cases.
bool NearBoundary(double d, double w) {
  double power = std::pow(w * std::fabs(d), 0.75);
  return std::fabs(power - std::round(power)) < 1e-3 || std::fabs(std::fabs(d) * w - 1.0) < 1e-3;
}

TEST_F(U16StoreTest, FusedUpdateMatchesTheDefinition) {
  TestNumbers numbers;
  const double weight = 3.0;
  for (int actions : {2, 3}) {
    RiverLayout layout = MakeRiverLayout(actions, {{1, 3, 5, 9, 17}});
    RiverU16Store store(&layout);
    ASSERT_TRUE(store.Allocate());
    std::vector<float> fallback(static_cast<size_t>(actions), 0.1f / float(actions - 1));
    fallback[0] = 0.9f;
    for (int sub = 0; sub < 5; ++sub) {
      const int hands = layout.entries[size_t(sub)].hands;
      std::vector<std::vector<float>> start(static_cast<size_t>(actions)), x(static_cast<size_t>(actions));
      FloatVec values[3];
      for (int a = 0; a < actions; ++a) {
        for (int i = 0; i < hands; ++i) {
          // Every third hand of a row at zero, some hands with all rows at zero.
          bool zero = numbers.Next() % 3 == 0 || i % 4 == 1;
          start[size_t(a)].push_back(zero ? 0.0f : float(numbers.Next() % 2000));
          x[size_t(a)].push_back(numbers.Uniform(-40, 40));
        }
        SetElements(store, 0, sub, a, start[size_t(a)]);
        values[a] = MakeRow(x[size_t(a)]);
      }
      FloatVec out;
      ASSERT_TRUE(store.UpdateFused(0, sub, out, values, nullptr, weight, fallback.data(), NoRescale));
      ASSERT_EQ(out.count, hands);
      for (int i = 0; i < hands; ++i) {
        double n = 0, ev = 0;
        for (int a = 0; a < actions; ++a) n += start[size_t(a)][size_t(i)];
        std::vector<double> s(static_cast<size_t>(actions));
        for (int a = 0; a < actions; ++a) {
          s[size_t(a)] = n > 0 ? start[size_t(a)][size_t(i)] / n : fallback[size_t(a)];
          ev += s[size_t(a)] * x[size_t(a)][size_t(i)];
        }
        EXPECT_NEAR(out.data[i], ev, 1e-4 * (1 + std::fabs(ev))) << actions << " " << sub << " " << i;
        for (int a = 0; a < actions; ++a) {
          double d = x[size_t(a)][size_t(i)] - ev;
          if (NearBoundary(d, weight)) continue;
          EXPECT_EQ(Elements(store, sub, a)[size_t(i)],
                    ExpectedStep(uint16_t(start[size_t(a)][size_t(i)]), d, weight))
              << actions << " " << sub << " " << i << " " << a;
        }
      }
    }
  }
}

TEST_F(U16StoreTest, FusedDeclinesWhatItCantDo) {
  RiverLayout layout2 = MakeRiverLayout(2, {{2}});
  RiverLayout layout4 = MakeRiverLayout(4, {{2}});
  const float fallback[] = {0.7f, 0.1f, 0.1f, 0.1f};
  RiverU16Store four(&layout4);
  ASSERT_TRUE(four.Allocate());
  FloatVec out;
  FloatVec values[4] = {MakeRow({1, 1}), MakeRow({1, 1}), MakeRow({1, 1}), MakeRow({1, 1})};
  EXPECT_FALSE(four.UpdateFused(0, 0, out, values, nullptr, 1.0, fallback, NoRescale));

  RiverU16Store store(&layout2);
  ASSERT_TRUE(store.Allocate());
  FloatVec mixed[2] = {MakeRow({1, 1}), FloatVec()};
  mixed[1].count = 2;
  EXPECT_FALSE(store.UpdateFused(0, 0, out, mixed, nullptr, 1.0, fallback, NoRescale));
  FloatVec none[2];
  none[0].count = none[1].count = 2;
  out = MakeRow({5, 5});
  EXPECT_TRUE(store.UpdateFused(0, 0, out, none, nullptr, 1.0, fallback, NoRescale));
  EXPECT_EQ(out.data, nullptr);
  EXPECT_EQ(out.count, 2);
  store.locks[0].handMask.reset(new uint8_t[2]{0, 1});
  EXPECT_FALSE(store.UpdateFused(0, 0, out, values, nullptr, 1.0, fallback, NoRescale));
}

// Updating one entry of hand counts that leave odd tails changes nothing
// outside its own rows, and the rows come out as the long way computes them.
TEST_F(U16StoreTest, OddHandCountsStayInTheirRows) {
  RiverLayout layout = MakeRiverLayout(3, {{1, 3}, {5, 9, 17}});
  const float fallback[] = {0.8f, 0.1f, 0.1f};
  for (int target = 0; target < layout.entryCount; ++target) {
    RiverU16Store store(&layout);
    ASSERT_TRUE(store.Allocate());
    for (int g = 0; g < 2; ++g)
      for (int sub = 0; sub < layout.groups[size_t(g)].entryCount; ++sub)
        for (int a = 0; a < 3; ++a)
          SetElements(store, g, sub, a, std::vector<float>(size_t(store.HandCount(g, sub)), 1000.0f + a));
    int group = target < 2 ? 0 : 1, sub = target < 2 ? target : target - 2;
    const int hands = layout.entries[size_t(target)].hands;
    FloatVec baseline = MakeRow(std::vector<float>(size_t(hands), 0.0f));
    FloatVec values[3] = {MakeRow(std::vector<float>(size_t(hands), 16.0f)),
                          MakeRow(std::vector<float>(size_t(hands), -16.0f)), FloatVec()};
    values[2].count = hands;
    store.UpdateRegrets(group, sub, baseline, values, nullptr, 1.0, NoRescale);
    for (int e = 0; e < layout.entryCount; ++e)
      for (int a = 0; a < 3; ++a) {
        uint16_t expected = e != target ? uint16_t(1000 + a) : a == 0 ? 1008 : a == 1 ? 993 : 1002;
        EXPECT_EQ(Elements(store, e, a), std::vector<uint16_t>(size_t(layout.entries[size_t(e)].hands), expected))
            << target << " " << e << " " << a;
      }
    FloatVec out[3];
    store.GetStrategy(out, group, sub, fallback);
    for (int i = 0; i < hands; ++i) EXPECT_FLOAT_EQ(out[0].data[i], 1008.0f / 3003.0f);
  }
}

}  // namespace

// The kernels run blocks of eight hands in vector code and the rest one by
// one; the one-by-one form is the reference, so a row done in one call
// must equal the same row done a hand at a time, bit for bit. Rows near
// saturation, empty rows, tiny and huge differences and locked hands.
TEST(U16Kernel, BlocksMatchTheScalarFormBitForBit) {
  TestNumbers numbers;
  const int hands = 101;
  const U16Step step = U16Step::ForWeight(2.5f);
  auto randomRow = [&] {
    std::vector<uint16_t> row(static_cast<size_t>(hands));
    for (uint16_t& e : row) {
      const uint32_t kind = numbers.Next() % 4;
      e = kind == 0 ? 0 : kind == 1 ? uint16_t(65535 - numbers.Next() % 4) : uint16_t(numbers.Next() % 5000);
    }
    return row;
  };
  auto randomValues = [&] {
    std::vector<float> x(static_cast<size_t>(hands));
    for (float& v : x) v = numbers.Next() % 5 == 0 ? numbers.Uniform(-0.5f, 0.5f) : numbers.Uniform(-3000, 3000);
    return x;
  };
  const float fallback[3] = {0.9f, 0.05f, 0.05f};
  for (int round = 0; round < 20; ++round) {
    std::vector<uint16_t> rows[3], single[3];
    std::vector<float> x[3];
    for (int a = 0; a < 3; ++a) {
      rows[a] = single[a] = randomRow();
      x[a] = randomValues();
    }
    // A few hands with every row empty: the fallback.
    for (int i = 0; i < hands; i += 7) rows[0][size_t(i)] = rows[1][size_t(i)] = rows[2][size_t(i)] = 0;
    for (int a = 0; a < 3; ++a) single[a] = rows[a];
    std::vector<float> out(static_cast<size_t>(hands)), outSingle(static_cast<size_t>(hands));
    if (round % 2 == 0) {
      U16Fused2Plain(rows[0].data(), rows[1].data(), x[0].data(), x[1].data(), out.data(), hands, step, fallback);
      for (int i = 0; i < hands; ++i)
        U16Fused2Plain(&single[0][size_t(i)], &single[1][size_t(i)], &x[0][size_t(i)], &x[1][size_t(i)],
                       &outSingle[size_t(i)], 1, step, fallback);
    } else {
      U16Fused3Plain(rows[0].data(), rows[1].data(), rows[2].data(), x[0].data(), x[1].data(), x[2].data(),
                     out.data(), hands, step, fallback);
      for (int i = 0; i < hands; ++i)
        U16Fused3Plain(&single[0][size_t(i)], &single[1][size_t(i)], &single[2][size_t(i)], &x[0][size_t(i)],
                       &x[1][size_t(i)], &x[2][size_t(i)], &outSingle[size_t(i)], 1, step, fallback);
    }
    for (int i = 0; i < hands; ++i) {
      ASSERT_EQ(std::bit_cast<uint32_t>(out[size_t(i)]), std::bit_cast<uint32_t>(outSingle[size_t(i)]))
          << "round " << round << " hand " << i;
      for (int a = 0; a < 3; ++a) ASSERT_EQ(rows[a][size_t(i)], single[a][size_t(i)]) << "round " << round << " hand " << i;
    }
    // Regret matching and strategy times reach.
    std::vector<float> reach = randomValues();
    for (float& r : reach) r = std::fabs(r) / 3000.0f;
    for (int actions : {2, 3}) {
      std::vector<float> whole[3], oneByOne[3];
      for (int a = 0; a < 3; ++a) whole[a].assign(size_t(hands), -1.0f), oneByOne[a].assign(size_t(hands), -1.0f);
      for (int timesReach : {0, 1}) {
        auto run = [&](int first, int count, std::vector<float>* out) {
          const size_t f = size_t(first);
          if (actions == 2 && timesReach)
            U16TimesReach2(&rows[0][f], &rows[1][f], &reach[f], &out[0][f], &out[1][f], count, fallback);
          else if (actions == 2)
            U16Match2(&rows[0][f], &rows[1][f], &out[0][f], &out[1][f], count, fallback);
          else if (timesReach)
            U16TimesReach3(&rows[0][f], &rows[1][f], &rows[2][f], &reach[f], &out[0][f], &out[1][f], &out[2][f],
                           count, fallback);
          else
            U16Match3(&rows[0][f], &rows[1][f], &rows[2][f], &out[0][f], &out[1][f], &out[2][f], count, fallback);
        };
        run(0, hands, whole);
        for (int i = 0; i < hands; ++i) run(i, 1, oneByOne);
        for (int a = 0; a < actions; ++a)
          for (int i = 0; i < hands; ++i)
            ASSERT_EQ(std::bit_cast<uint32_t>(whole[a][size_t(i)]), std::bit_cast<uint32_t>(oneByOne[a][size_t(i)]))
                << actions << " actions, times reach " << timesReach << ", hand " << i;
      }
      // Scaled rows (the shifted sums) by the definition, in float.
      const float factors[3] = {2.0f, 0.5f, 8.0f};
      const uint16_t* rowPointers[3] = {rows[0].data(), rows[1].data(), rows[2].data()};
      float* outPointers[3] = {whole[0].data(), whole[1].data(), whole[2].data()};
      U16MatchN(rowPointers, factors, outPointers, actions, hands, fallback);
      for (int i = 0; i < hands; ++i) {
        float s = float(rows[0][size_t(i)]) * factors[0];
        for (int a = 1; a < actions; ++a) s += float(rows[a][size_t(i)]) * factors[a];
        for (int a = 0; a < actions; ++a) {
          const float expected = s > 0.0f ? float(rows[a][size_t(i)]) * factors[a] / s : fallback[a];
          ASSERT_EQ(std::bit_cast<uint32_t>(whole[a][size_t(i)]), std::bit_cast<uint32_t>(expected))
              << actions << " scaled actions, hand " << i;
        }
      }
    }
    // The plain step, half the hands locked.
    std::vector<uint8_t> mask(static_cast<size_t>(hands));
    for (int i = 0; i < hands; ++i) mask[size_t(i)] = uint8_t(numbers.Next() % 2);
    const uint8_t* masks[2] = {nullptr, mask.data()};
    for (const uint8_t* m : masks) {
      std::vector<uint16_t> whole = rows[2], oneByOne = rows[2];
      U16RegretUpdate(whole.data(), x[0].data(), x[1].data(), m, hands, step);
      for (int i = 0; i < hands; ++i)
        U16RegretUpdate(&oneByOne[size_t(i)], &x[0][size_t(i)], &x[1][size_t(i)], m ? m + i : nullptr, 1, step);
      ASSERT_EQ(whole, oneByOne) << "round " << round << (m ? " masked" : "");
    }
  }
}
