// File forms of the flop, turn and uncompressed river stores: a solved
// store of each class comes back row for row, locks and scales included,
// and every cut of its record is refused; the older and the sum forms read
// from records written here byte by byte; hostile fields are refused.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "setup/failure.h"
#include "storage/flop_store.h"
#include "storage/river_float_store.h"
#include "storage/river_shift_sum_store.h"
#include "storage/river_sum_store.h"
#include "storage/river_u16_store.h"
#include "storage/tree_stream.h"
#include "storage/turn_store.h"
#include "store_test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

template <class T>
Bytes& Put(Bytes& bytes, T value) {
  const auto* at = reinterpret_cast<const uint8_t*>(&value);
  bytes.insert(bytes.end(), at, at + sizeof value);
  return bytes;
}
Bytes& Put(Bytes& bytes, std::initializer_list<uint8_t> raw) {
  bytes.insert(bytes.end(), raw);
  return bytes;
}

Bytes Saved(const StrategyStore& store, int32_t version = NewestFormatVersion) {
  Bytes bytes;
  TreeWriter writer(bytes);
  writer.formatVersion = version;
  store.Save(writer);
  return bytes;
}

// Loads the first `size` bytes; a load that succeeds must use them all.
bool Load(StrategyStore& store, const Bytes& bytes, int32_t version, size_t size = SIZE_MAX) {
  TreeReader reader(bytes.data(), std::min(size, bytes.size()));
  reader.formatVersion = version;
  const bool loaded = store.Load(reader);
  EXPECT_EQ(loaded, !reader.Failed() && reader.Remaining() == 0);
  return loaded;
}

const float fallback3[] = {0.2f, 0.3f, 0.5f};

std::vector<std::vector<float>> Strategy(StrategyStore& store, int group, int sub, int actions,
                                         const float* fallback = fallback3) {
  std::vector<FloatVec> out(static_cast<size_t>(actions));
  store.GetStrategy(out.data(), group, sub, fallback);
  std::vector<std::vector<float>> rows;
  for (const FloatVec& row : out) rows.push_back(ToVector(row));
  return rows;
}

enum class Kind { Flop, Turn, RiverFloat, RiverU16, RiverSum, RiverShiftSum };

struct StoreFileForm : testing::TestWithParam<Kind> {
  // Odd hand counts, so that river rows have padding.
  const RiverLayout layout = MakeRiverLayout(3, {{5, 9}, {13}});

  std::unique_ptr<StrategyStore> Make() const {
    switch (GetParam()) {
      case Kind::Flop: return std::make_unique<FlopStore>(3, 13);
      case Kind::Turn: return std::make_unique<TurnStore>(3, std::vector<int32_t>{5, 9, 13});
      case Kind::RiverFloat: return std::make_unique<RiverFloatStore>(&layout);
      case Kind::RiverU16: return std::make_unique<RiverU16Store>(&layout);
      case Kind::RiverSum: return std::make_unique<RiverSumStore>(&layout);
      case Kind::RiverShiftSum: return std::make_unique<RiverShiftSumStore>(&layout);
    }
    return nullptr;
  }
  std::vector<std::pair<int, int>> Boards() const {
    if (GetParam() == Kind::Flop) return {{0, 0}};
    if (GetParam() == Kind::Turn) return {{0, 0}, {1, 0}, {2, 0}};
    return {{0, 0}, {0, 1}, {1, 0}};
  }
};

TEST_P(StoreFileForm, SolvedStoreComesBackAndEveryCutIsRefused) {
  std::unique_ptr<StrategyStore> store = Make();
  ASSERT_TRUE(store->Allocate());
  const std::vector<std::pair<int, int>> boards = Boards();
  // Hands 0, 3 and 4 of the first board (5 or 13 hands) locked one by one,
  // the last board whole.
  LockRecord* combo = store->GetLockRecord(boards[0].first, boards[0].second);
  combo->flags = ComboLockedFlag;
  combo->handMaskSize = 5;
  combo->handMask.reset(new uint8_t[13]{1, 0, 0, 1, 1});
  if (boards.size() > 1) store->GetLockRecord(boards.back().first, boards.back().second)->flags = LockedFlag;

  // Regrets from values of 0 to 100 chips, sums of their shares; group 0
  // gets weights that widen the older sum store's group and shift rows.
  TestNumbers numbers;
  for (int iteration = 1; iteration <= 20; ++iteration)
    for (auto [group, sub] : boards) {
      FloatVec baseline, values[3], shares[3];
      const auto random = [&](FloatVec& row, float scale) {
        ZeroVector(row, store->HandCount(group, sub));
        for (int32_t i = 0; i < row.count; ++i) row.data[i] = numbers.Uniform(0, 100) * scale;
      };
      random(baseline, 1.0f);
      for (int a = 0; a < 3; ++a) random(values[a], 1.0f), random(shares[a], 1.0f / 300);
      store->UpdateRegrets(group, sub, baseline, values, nullptr, 1.0, iteration);
      store->AccumulateStrategy(group, sub, shares, group == 0 ? 40000.0 : iteration);
    }
  auto* u16 = dynamic_cast<RiverU16Store*>(store.get());
  auto* sum = dynamic_cast<RiverSumStore*>(store.get());
  auto* shift = dynamic_cast<RiverShiftSumStore*>(store.get());
  ASSERT_TRUE((!u16 || u16->entryScale[0] != 1.0f) && (!shift || shift->rowShift[0] != 0));
  ASSERT_TRUE(!sum || sum->groupWide == (std::vector<uint8_t>{1, 0}));

  // Saved again, the loaded store gives the same bytes: its locks, scales,
  // widths and shifts are the original's; its rows read the same.
  const Bytes record = Saved(*store);
  std::unique_ptr<StrategyStore> loaded = Make();
  ASSERT_TRUE(Load(*loaded, record, 10));
  EXPECT_EQ(Saved(*loaded), record);
  for (auto [group, sub] : boards)
    EXPECT_EQ(Strategy(*loaded, group, sub, 3), Strategy(*store, group, sub, 3)) << group << " " << sub;
  for (size_t size = 0; size < record.size(); ++size) {
    std::unique_ptr<StrategyStore> cut = Make();
    EXPECT_FALSE(Load(*cut, record, 10, size)) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(AllClasses, StoreFileForm,
                         testing::Values(Kind::Flop, Kind::Turn, Kind::RiverFloat, Kind::RiverU16, Kind::RiverSum,
                                         Kind::RiverShiftSum));

// One river of three hands, two actions: rows {30, 10, 0} and {10, 30, 0}.
// Three values are a final part: control 1, a byte each.
const RiverLayout tiny = MakeRiverLayout(2, {{3}});
const Bytes packedRows = {4, 0, 1, 30, 10, 0, 4, 0, 1, 10, 30, 0};
const float fallback2[] = {0.9f, 0.1f};

auto Patched(Bytes bytes, size_t at, auto value) {
  std::memcpy(bytes.data() + at, &value, sizeof value);
  return bytes;
}
const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();

TEST(StoreFileForm, OlderRegretFormsReadAndSaveInTheirOwnAndTheNewest) {
  Bytes raw, packed, scaled;
  Put(raw, uint32_t(0));
  for (uint16_t x : {30, 10, 0, 10, 30, 0}) Put(raw, x);
  Put(packed, uint32_t(0)).insert(packed.end(), packedRows.begin(), packedRows.end());
  Put(scaled = packed, 4.0f);
  struct Form {
    int32_t version;
    const Bytes& bytes;
    float scale;
  };
  for (const Form& form : {Form{3, raw, 1.0f}, Form{8, packed, 1.0f}, Form{9, scaled, 4.0f}}) {
    RiverU16Store store(&tiny);
    ASSERT_TRUE(Load(store, form.bytes, form.version)) << form.version;
    EXPECT_EQ(Strategy(store, 0, 0, 2, fallback2),
              (std::vector<std::vector<float>>{{0.75f, 0.25f, 0.9f}, {0.25f, 0.75f, 0.1f}}));
    Bytes newest = packed;
    EXPECT_EQ(Saved(store), Put(newest, form.scale));
    EXPECT_EQ(Saved(store, form.version), form.bytes);
  }
  // Scales that aren't finite and positive; packed lengths above the bound
  // of three values (7), short of the row or past it; control byte 0.
  for (float bad : {nan, inf, 0.0f, -2.0f}) {
    RiverU16Store store(&tiny);
    EXPECT_FALSE(Load(store, Patched(scaled, 16, bad), 9)) << bad;
  }
  for (uint16_t length : {8, 3, 5}) {
    RiverU16Store store(&tiny);
    EXPECT_FALSE(Load(store, Patched(scaled, 4, length), 9)) << length;
  }
  RiverU16Store badControl(&tiny);
  EXPECT_FALSE(Load(badControl, Patched(scaled, 6, uint8_t(0)), 9));
}

TEST(StoreFileForm, FloatRowsRefuseNaNInfinityAndNegatives) {
  Bytes flop(4, 0);
  for (float x : {1.0f, 2.0f, 3.0f, 4.0f}) Put(flop, x);
  for (float bad : {nan, inf, -1.0f}) {
    FlopStore store(2, 2);
    EXPECT_FALSE(Load(store, Patched(flop, 8, bad), 10)) << bad;
  }
  FlopStore negativeZero(2, 2);
  EXPECT_TRUE(Load(negativeZero, Patched(flop, 8, -0.0f), 10));
}

TEST(StoreFileForm, SumFormsReadByHandAndRefuseWhatNoSolveMakes) {
  // Shifted sums, weight scale 8: row 0 shifted by one, so true values
  // {60, 20, 0}. The largest shift there may be is 31.
  Bytes shifted;
  Put(Put(Put(shifted, uint32_t(0)), uint8_t(1)), 8.0f);
  Put(shifted, {1, 0}).insert(shifted.end(), packedRows.begin(), packedRows.end());
  RiverShiftSumStore shift(&tiny);
  ASSERT_TRUE(Load(shift, shifted, 10));
  EXPECT_EQ(Strategy(shift, 0, 0, 2, fallback2),
            (std::vector<std::vector<float>>{{60.0f / 70, 0.4f, 0.9f}, {10.0f / 70, 0.6f, 0.1f}}));
  EXPECT_EQ(Saved(shift), shifted);
  EXPECT_TRUE(Load(shift, Patched(shifted, 10, uint8_t(31)), 10));

  // A wide group of the older sums: {70000, 5, 0} at three bytes a value
  // (control 3), {0, 0, 0} at one (control 0); a zero total gives 1 / actions.
  Bytes wide;
  Put(Put(Put(wide, uint32_t(0)), uint8_t(1)), uint8_t(1));
  Put(Put(wide, uint16_t(10)), {3, 0x70, 0x11, 0x01, 5, 0, 0, 0, 0, 0});
  Put(Put(wide, uint16_t(4)), {0, 0, 0, 0});
  RiverSumStore sum(&tiny);
  ASSERT_TRUE(Load(sum, wide, 9));
  EXPECT_EQ(sum.Element(0, 0), 70000u);
  EXPECT_EQ(Strategy(sum, 0, 0, 2, fallback2), (std::vector<std::vector<float>>{{1, 1, 0.5f}, {0, 0, 0.5f}}));
  EXPECT_EQ(Saved(sum), wide);

  // A later format byte is a command failure of its own; a width byte
  // above 1, a weight scale that isn't finite and positive, a shift of 32.
  for (StrategyStore* store : {static_cast<StrategyStore*>(&sum), static_cast<StrategyStore*>(&shift)}) {
    try {
      Load(*store, Patched(store == &sum ? wide : shifted, 4, uint8_t(2)), 10);
      ADD_FAILURE() << "format 2 loaded";
    } catch (const CommandFailure& failure) {
      EXPECT_STREQ(failure.what(), "incompatible data");
      EXPECT_FALSE(failure.namesCommand);
    }
  }
  EXPECT_FALSE(Load(sum, Patched(wide, 5, uint8_t(2)), 9));
  for (float bad : {nan, inf, 0.0f}) EXPECT_FALSE(Load(shift, Patched(shifted, 5, bad), 10)) << bad;
  EXPECT_FALSE(Load(shift, Patched(shifted, 10, uint8_t(32)), 10));
}

}  // namespace
