#include "storage/codecs/packed_row.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <type_traits>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// Little-endian fields appended one by one, to spell out expected layouts.
void Put(Bytes& b, uint64_t v, int width) {
  for (int i = 0; i < width; ++i) b.push_back(uint8_t(v >> 8 * i));
}

template <int Bits>
using Row = std::vector<std::conditional_t<Bits == 16, uint16_t, uint32_t>>;

// Packs into a buffer of exactly the bound, so the sanitizer build sees any
// write past it, and returns only the row's bytes.
template <int Bits>
Bytes Pack(const Row<Bits>& row) {
  const size_t n = row.size();
  Bytes out(Bits == 16 ? PackedRow16Bound(n) : Bits == 24 ? PackedRow24Bound(n) : PackedRow32Bound(n));
  if constexpr (Bits == 16) out.resize(PackRow16(row.data(), n, out.data()));
  else if constexpr (Bits == 24) out.resize(PackRow24(row.data(), n, out.data()));
  else out.resize(PackRow32(row.data(), n, out.data()));
  return out;
}

// Unpacks from a copy of exactly the given bytes, so any read past them
// shows under the sanitizers.
template <int Bits>
PackedRowResult Unpack(const Bytes& in, Row<Bits>& row) {
  const Bytes exact(in);
  if constexpr (Bits == 16) return UnpackRow16(exact.data(), exact.size(), row.data(), row.size());
  else if constexpr (Bits == 24) return UnpackRow24(exact.data(), exact.size(), row.data(), row.size());
  else return UnpackRow32(exact.data(), exact.size(), row.data(), row.size());
}

TEST(PackedRow16, GroupWithEachClassThenAPartOfOneValue) {
  std::vector<uint16_t> row(33, 0);
  for (int i = 0; i < 8; ++i) row[8 + i] = uint16_t(i + 1);
  const uint16_t twelve[8] = {0x123, 0x456, 0x789, 0xABC, 0xDEF, 0xFFF, 0x001, 0x800};
  std::copy(twelve, twelve + 8, row.begin() + 16);
  const uint16_t wide[8] = {4096, 0, 65535, 1, 2, 3, 4, 5};
  std::copy(wide, wide + 8, row.begin() + 24);
  row[32] = 300;

  Bytes expected = {0xE4};  // classes 0, 1, 2, 3 from the low bits up
  for (int i = 1; i <= 8; ++i) expected.push_back(uint8_t(i));
  // The 96-bit number 800 001 FFF DEF ABC 789 456 123 (hex, last value
  // first) as three little-endian words.
  Put(expected, 0x89456123, 4);
  Put(expected, 0xFDEFABC7, 4);
  Put(expected, 0x800001FF, 4);
  for (uint16_t v : wide) Put(expected, v, 2);
  expected.insert(expected.end(), {3, 0x2C, 0x01});  // the part of one value
  EXPECT_EQ(Pack<16>(row), expected);

  std::vector<uint16_t> back(33, 7);
  const PackedRowResult r = Unpack<16>(expected, back);
  ASSERT_FALSE(r.IsError());
  EXPECT_EQ(r.size, expected.size());
  EXPECT_EQ(back, row);
}

TEST(PackedRow16, ClassLimitsAndRest) {
  // Largest values 255, 256, 4095 and 4096: classes 1, 2, 2, 3.
  std::vector<uint16_t> row(32, 0);
  row[0] = 255, row[8] = 256, row[16] = 4095, row[31] = 4096;
  Bytes packed = Pack<16>(row);
  ASSERT_EQ(packed.size(), 1u + 8 + 12 + 12 + 16);
  EXPECT_EQ(packed[0], 1 | 2 << 2 | 2 << 4 | 3 << 6);

  // 17 values: runs of 8 bytes and of 16-bit values, then one zero byte.
  std::vector<uint16_t> rest(17, 0);
  rest[0] = 255, rest[15] = 256;
  Bytes expected = {1, 255, 0, 0, 0, 0, 0, 0, 0, 3};
  for (int i = 8; i < 16; ++i) Put(expected, rest[i], 2);
  expected.insert(expected.end(), {1, 0});
  EXPECT_EQ(Pack<16>(rest), expected);

  EXPECT_TRUE(Pack<16>({}).empty());
}

TEST(PackedRow32, GroupWithEachClassThenAWidePart) {
  std::vector<uint32_t> row(35, 0);
  row[8] = 255, row[9] = 7;
  row[16] = 65535, row[17] = 256;
  row[24] = 0xFFFFFFFF, row[25] = 65536;
  row[32] = 70000, row[33] = 1, row[34] = 2;

  Bytes expected = {1 << 2 | 2 << 4 | 3 << 6};
  for (int i = 8; i < 16; ++i) Put(expected, row[i], 1);
  for (int i = 16; i < 24; ++i) Put(expected, row[i], 2);
  Bytes expected24 = expected;
  for (int i = 24; i < 32; ++i) Put(expected, row[i], 4);
  expected.push_back(3);
  for (int i = 32; i < 35; ++i) Put(expected, row[i], 4);
  EXPECT_EQ(Pack<32>(row), expected);

  // The 24-bit form: three bytes a value where the other has four.
  row[24] = 0xABCDEF;
  for (int i = 24; i < 32; ++i) Put(expected24, row[i], 3);
  expected24.push_back(3);
  for (int i = 32; i < 35; ++i) Put(expected24, row[i], 3);
  EXPECT_EQ(Pack<24>(row), expected24);
  std::vector<uint32_t> back(35);
  ASSERT_FALSE(Unpack<24>(expected24, back).IsError());
  EXPECT_EQ(back, row);

  // Narrow rests: byte and 16-bit controls.
  EXPECT_EQ(Pack<32>({255, 0}), (Bytes{0, 255, 0}));
  EXPECT_EQ(Pack<32>({256}), (Bytes{1, 0, 1}));
}

// Rest controls that no writer emits: 2 reads as wide in the wider rows,
// everything else outside the table is damage.
TEST(PackedRow, RestControls) {
  std::vector<uint16_t> row16(1);
  for (uint8_t control : {0, 2, 4, 255})
    EXPECT_EQ(Unpack<16>({control, 9, 9}, row16).error, PackedRowError::badControl) << int(control);
  ASSERT_FALSE(Unpack<16>({3, 0x34, 0x12}, row16).IsError());
  EXPECT_EQ(row16[0], 0x1234);

  std::vector<uint32_t> row(1);
  ASSERT_FALSE(Unpack<32>({2, 1, 2, 3, 4}, row).IsError());
  EXPECT_EQ(row[0], 0x04030201u);
  ASSERT_FALSE(Unpack<24>({2, 1, 2, 3}, row).IsError());
  EXPECT_EQ(row[0], 0x030201u);
  EXPECT_EQ(Unpack<32>({4, 1, 2, 3, 4}, row).error, PackedRowError::badControl);
  EXPECT_EQ(Unpack<24>({200, 1, 2, 3}, row).error, PackedRowError::badControl);
}

// Values drawn near every class limit; each chunk of 8 gets its own ceiling
// so that all classes, and all mixes of them in one group, occur.
template <typename T>
std::vector<T> BoundaryRow(std::mt19937& rng, size_t count, uint32_t max) {
  static const uint32_t limits[] = {0, 255, 256, 4095, 4096, 65535, 65536, (1u << 24) - 1, 1u << 24, 0xFFFFFFFF};
  std::vector<T> row(count);
  uint32_t ceiling = 0;
  for (size_t i = 0; i < count; ++i) {
    if (i % 8 == 0) ceiling = std::min(limits[rng() % 10], max);
    const uint32_t pick = rng() % 4;
    row[i] = T(pick == 0 ? ceiling : pick == 1 ? 0 : rng() % (uint64_t(ceiling) + 1));
  }
  return row;
}

template <int Bits>
void CheckRoundTripsAndTruncations(uint32_t max) {
  using T = typename Row<Bits>::value_type;
  std::mt19937 rng(5);
  std::vector<size_t> counts;
  for (size_t n = 0; n <= 80; ++n) counts.push_back(n);
  for (int k = 0; k < 60; ++k) counts.push_back(rng() % 1327);
  counts.push_back(1326);
  for (size_t n : counts) {
    SCOPED_TRACE(n);
    const std::vector<T> row = BoundaryRow<T>(rng, n, max);
    const Bytes packed = Pack<Bits>(row);
    std::vector<T> back(n);
    PackedRowResult r = Unpack<Bits>(packed, back);
    ASSERT_FALSE(r.IsError());
    ASSERT_EQ(r.size, packed.size());
    ASSERT_EQ(back, row);

    // A row followed by more data reads only its own bytes.
    Bytes longer = packed;
    longer.insert(longer.end(), 40, 0xFF);
    r = Unpack<Bits>(longer, back);
    ASSERT_FALSE(r.IsError());
    ASSERT_EQ(r.size, packed.size());

    for (size_t cut = 0; cut < packed.size(); cut += (n > 100 ? 7 : 1)) {
      r = Unpack<Bits>(Bytes(packed.begin(), packed.begin() + cut), back);
      ASSERT_EQ(r.error, PackedRowError::truncated) << cut;
      ASSERT_LE(r.size, cut);
    }
  }
}

TEST(PackedRow, RandomRowsRoundTripAndEveryTruncationFails) {
  CheckRoundTripsAndTruncations<16>(65535);
  CheckRoundTripsAndTruncations<24>((1u << 24) - 1);
  CheckRoundTripsAndTruncations<32>(0xFFFFFFFF);
}

TEST(PackedRow, WorstRowsMeetTheBoundsExactly) {
  for (size_t n = 0; n <= 1326; ++n) {
    // Counted part by part: 32 values at 1 + 4 * 8 * width bytes, then a
    // control byte for each run of 8 and for a final part.
    const size_t rest = n % 32, controls = n / 32 + (rest + 7) / 8;
    const std::vector<uint16_t> row16(n, 4096);
    const std::vector<uint32_t> row32(n, 0x01000000), row24(n, 0x00FFFFFF);
    ASSERT_EQ(Pack<16>(row16).size(), 2 * n + controls) << n;
    ASSERT_EQ(PackedRow16Bound(n), 2 * n + controls);
    ASSERT_EQ(Pack<24>(row24).size(), 3 * n + controls) << n;
    ASSERT_EQ(Pack<32>(row32).size(), 4 * n + controls) << n;
    ASSERT_LE(PackedRow32Bound(n), 5 * n);
  }
  // Largest row: 41 groups of 65 bytes, a run of 17 and a part of 6 values.
  EXPECT_EQ(PackedRow16Bound(1326), 41u * 65 + 17 + 13);
}

}  // namespace
