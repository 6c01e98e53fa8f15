// The fused 512-bit acc += a * b against the C library's fmaf, bit for bit,
// on hand counts around the step of 32 floats so that every tail is met; and
// vecops::MultiplyAdd under both settings of the flag, each against its own
// rounding: one rounding when the wide form runs, two otherwise.
#include "solver/multiply_add_avx512.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "setup/cpu_info.h"
#include "setup/settings.h"
#include "storage/float_vec.h"
#include "solver/vector_ops.h"

namespace {

const int HandCounts[] = {0, 1, 7, 15, 16, 17, 31, 33, 100, 1081};
constexpr float Sentinel = -7.0f;
constexpr int Slack = 32;

struct FlagGuard {
  bool saved = Avx512Allowed;
  ~FlagGuard() { Avx512Allowed = saved; }
};

// Values of mixed sign and magnitude, so that the product's low bits matter
// to the sum and fused and unfused results part in many hands.
std::vector<float> RandomRow(int n, std::mt19937& rng) {
  std::uniform_real_distribution<float> unit(-3.0f, 3.0f);
  std::vector<float> row(static_cast<size_t>(n));
  for (float& x : row) x = unit(rng) / 7.0f;
  return row;
}

float Fused(float acc, float a, float b) { return std::fmaf(a, b, acc); }
// The library is built without FMA, so this is a rounded product, then a
// rounded sum.
float Unfused(float acc, float a, float b) {
  const float product = a * b;
  return acc + product;
}

void ExpectSameBits(float expected, float got, int i) {
  ASSERT_EQ(std::bit_cast<uint32_t>(expected), std::bit_cast<uint32_t>(got))
      << "hand " << i << ": " << expected << " vs " << got;
}

TEST(MultiplyAddAvx512, FusedWhereAllowedAndNothingPastTheEnd) {
  FlagGuard guard;
  std::mt19937 rng(5);
  for (int n : HandCounts) {
    SCOPED_TRACE(::testing::Message() << n << " hands");
    const std::vector<float> a = RandomRow(n, rng), b = RandomRow(n, rng), start = RandomRow(n, rng);
    auto fusedAt = [&](int i) { return Fused(start[size_t(i)], a[size_t(i)], b[size_t(i)]); };
    auto unfusedAt = [&](int i) { return Unfused(start[size_t(i)], a[size_t(i)], b[size_t(i)]); };
    int parted = 0;
    for (int i = 0; i < n; ++i) parted += fusedAt(i) != unfusedAt(i);
    // Otherwise the data could not tell the two forms apart.
    if (n == 1081) {
      EXPECT_GT(parted, 10);
    }

    if (CpuHasAvx512()) {
      // Ones past the end of the factors, so a stray write past the end of
      // acc cannot leave the sentinel as it was.
      std::vector<float> wideA = a, wideB = b, acc = start;
      wideA.resize(size_t(n + Slack), 1.0f);
      wideB.resize(size_t(n + Slack), 1.0f);
      acc.resize(size_t(n + Slack), Sentinel);
      MultiplyAddAvx512(acc.data(), wideA.data(), wideB.data(), n);
      for (int i = 0; i < n; ++i) ExpectSameBits(fusedAt(i), acc[size_t(i)], i);
      for (int i = n; i < n + Slack; ++i) ASSERT_EQ(acc[size_t(i)], Sentinel) << "written past the end at " << i;
    }

    for (bool allowed : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "flag " << allowed);
      Avx512Allowed = allowed;
      const bool fused = allowed && CpuHasAvx512();
      FloatVec va, vb, acc;
      ResizeVector(va, n);
      ResizeVector(vb, n);
      ResizeVector(acc, n);
      std::copy(a.begin(), a.end(), va.data);
      std::copy(b.begin(), b.end(), vb.data);
      std::copy(start.begin(), start.end(), acc.data);
      vecops::MultiplyAdd(acc, va, vb);
      for (int i = 0; i < n; ++i) ExpectSameBits(fused ? fusedAt(i) : unfusedAt(i), acc.data[i], i);
    }
  }
}

}  // namespace
