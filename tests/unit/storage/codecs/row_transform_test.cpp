// The row transform against a plain re-computation in 64-bit arithmetic,
// a few rows worked by hand, and its inverse; then the 512-bit forms of
// the 16-bit rows against the plain ones.
#include "storage/codecs/row_transform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <type_traits>
#include <vector>

#include "setup/cpu_info.h"

namespace {

// A difference reduced to a signed 32-bit number, then zigzag-mapped, all
// in 64 bits so that nothing of the code's own arithmetic is reused. The
// reduction is modulo 2^32, so inner differences need no wrapping of
// their own.
uint32_t Zig64(int64_t d) {
  int64_t w = ((d % 4294967296LL) + 4294967296LL) % 4294967296LL;
  if (w >= 2147483648LL) w -= 4294967296LL;
  return uint32_t(w >= 0 ? 2 * w : -2 * w - 1);
}

struct Expected {
  uint8_t mode;
  std::vector<uint32_t> symbols;
};

template <typename T>
Expected Reference(const std::vector<T>& x, const std::vector<T>* p) {
  auto at = [](const std::vector<T>* v, size_t i) { return v ? int64_t((*v)[i]) : 0; };
  std::vector<uint32_t> a, b;
  size_t nonZeroA = 0, nonZeroB = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    const int64_t left = i ? int64_t(x[i]) - int64_t(x[i - 1]) : int64_t(x[0]) - at(p, 0);
    b.push_back(Zig64(left));
    a.push_back(i ? Zig64(left - (at(p, i) - at(p, i - 1))) : b[0]);
    nonZeroA += a.back() != 0, nonZeroB += b.back() != 0;
  }
  return p && nonZeroA < nonZeroB ? Expected{1, a} : Expected{0, b};
}

template <typename T>
uint8_t Transform(const std::vector<T>& x, const std::type_identity_t<std::vector<T>>* p, std::vector<uint32_t>& s) {
  s.assign(x.size(), 0xDEADBEEF);
  const T* previous = p ? p->data() : nullptr;
  if constexpr (sizeof(T) == 2) return TransformRow16(x.data(), previous, s.data(), x.size());
  else return TransformRow32(x.data(), previous, s.data(), x.size());
}
void Inverse(const std::vector<uint32_t>& s, const std::vector<uint32_t>* p, std::vector<uint32_t>& x, uint8_t m) {
  InverseRow32(s.data(), p ? p->data() : nullptr, x.data(), s.size(), m);
}
void Inverse(const std::vector<uint32_t>& s, const std::vector<uint16_t>* p, std::vector<uint16_t>& x, uint8_t m) {
  InverseRow16(s.data(), p ? p->data() : nullptr, x.data(), s.size(), m);
}

TEST(RowTransform, RowsWorkedByHand) {
  std::vector<uint32_t> s;
  EXPECT_EQ(Transform(std::vector<uint32_t>{5, 7, 7, 4}, nullptr, s), 0);
  EXPECT_EQ(s, (std::vector<uint32_t>{10, 4, 0, 5}));

  // The previous row rose in the same steps: A is all zero after the start.
  const std::vector<uint32_t> p{1, 3, 5, 7};
  EXPECT_EQ(Transform(std::vector<uint32_t>{2, 4, 6, 8}, &p, s), 1);
  EXPECT_EQ(s, (std::vector<uint32_t>{2, 0, 0, 0}));
  InverseRow32(s.data(), p.data(), s.data(), 4, 1);  // in place
  EXPECT_EQ(s, (std::vector<uint32_t>{2, 4, 6, 8}));

  // Equal counts of non-zeros go to B.
  const std::vector<uint32_t> flat{0, 0, 0};
  EXPECT_EQ(Transform(std::vector<uint32_t>{0, 1, 2}, &flat, s), 0);
  EXPECT_EQ(s, (std::vector<uint32_t>{0, 2, 2}));

  // 16-bit steps are not wrapped at 16 bits.
  std::vector<uint16_t> wide{0, 65535, 0};
  EXPECT_EQ(Transform(wide, nullptr, s), 0);
  EXPECT_EQ(s, (std::vector<uint32_t>{0, 131070, 131069}));
  std::vector<uint16_t> back(3);
  Inverse(s, nullptr, back, 0);
  EXPECT_EQ(back, wide);

  // 32-bit steps wrap: 0 to 2^32-1 is a step of -1.
  EXPECT_EQ(Transform(std::vector<uint32_t>{0, 0xFFFFFFFF, 0x80000000}, nullptr, s), 0);
  EXPECT_EQ(s, (std::vector<uint32_t>{0, 1, 0xFFFFFFFD}));
}

template <typename T>
void CheckRandomRows() {
  std::mt19937 rng(7);
  std::vector<uint32_t> s;
  int modeOne = 0, modeZero = 0;
  for (size_t n : {0, 1, 2, 7, 8, 9, 100, 1326}) {
    for (int trial = 0; trial < 30; ++trial) {
      // Mixes of wild values, smooth rows and rows that follow the previous
      // one, so that both candidates win now and then.
      std::vector<T> p(n), x(n);
      const int kind = trial % 3;
      for (size_t i = 0; i < n; ++i) {
        p[i] = T(kind == 0 ? rng() : 1000 + 3 * i + (rng() % 2));
        x[i] = T(kind == 0 ? rng() : kind == 1 ? p[i] + 5 : 1000 + 2 * i);
      }
      const std::vector<T>* const previousRows[] = {nullptr, &p};
      for (const std::vector<T>* previous : previousRows) {
        const Expected want = Reference(x, previous);
        const uint8_t mode = Transform(x, previous, s);
        ASSERT_EQ(mode, want.mode) << n << " " << trial;
        ASSERT_EQ(s, want.symbols) << n << " " << trial;
        (previous && mode ? modeOne : modeZero)++;
        std::vector<T> back(n, T(0x5A5A));
        Inverse(s, previous, back, mode);
        ASSERT_EQ(back, x) << n << " " << trial;
      }
    }
  }
  EXPECT_GT(modeOne, 0);
  EXPECT_GT(modeZero, 0);
}

TEST(RowTransform, MatchesReferenceAndInvertsOnRandomRows) {
  CheckRandomRows<uint32_t>();
  CheckRandomRows<uint16_t>();
}

// Rows of every length: wild, close to the previous one (mode 1 wins), and
// steps at the escape borders and the widened 16-bit extremes. The inverse
// also gets random symbols and modes, as a damaged stream can hand it.
TEST(RowTransform, WideFormsGiveThePlainSymbolsAndRows) {
  if (!CpuHasAvx512()) GTEST_SKIP() << "no AVX-512 on this processor";
  const int32_t borders[] = {127, 128, 129, 32767, 32768, 32769, 65535};
  std::mt19937 rng(11);
  std::vector<uint32_t> plain, wide;
  std::vector<uint16_t> plainRow, wideRow;
  int modeOne = 0;
  auto wideOn = [](bool on) { SetRowTransformWideTest(on ? +[] { return true; } : nullptr); };
  for (size_t n = 0; n <= 1326; ++n) {
    std::vector<uint16_t> p(n), x(n);
    const int kind = n % 3;
    for (size_t i = 0; i < n; ++i) {
      p[i] = uint16_t(rng());
      const int32_t step = borders[rng() % 7] * (rng() % 2 ? 1 : -1), from = i ? x[i - 1] : 0, to = from + step;
      x[i] = uint16_t(kind == 0   ? rng()
                      : kind == 1 ? p[i] + 7 + (rng() % 16 == 0 ? rng() % 300 : 0)
                                  : (to < 0 || to > 65535 ? from - step : to));
    }
    const uint16_t* const previousRows[] = {nullptr, p.data()};
    for (const uint16_t* previous : previousRows) {
      plain.assign(n + 1, 0xDEADBEEF), wide.assign(n + 1, 0xDEADBEEF);
      wideOn(false);
      const uint8_t plainMode = TransformRow16(x.data(), previous, plain.data(), n);
      wideOn(true);
      const uint8_t wideMode = TransformRow16(x.data(), previous, wide.data(), n);
      ASSERT_EQ(wideMode, plainMode) << n;
      ASSERT_EQ(wide, plain) << n;  // the element past the row is untouched too
      modeOne += plainMode;

      // Valid symbols, then random ones under every mode.
      std::vector<uint32_t> noise(n);
      for (uint32_t& z : noise) z = rng() % 4 ? rng() % 600 : rng();
      for (int round = 0; round < 3; ++round) {
        const uint32_t* symbols = round == 0 ? plain.data() : noise.data();
        const uint8_t mode = round == 0 ? plainMode : uint8_t(round - 1);
        plainRow.assign(n + 1, 0x5A5A), wideRow.assign(n + 1, 0x5A5A);
        wideOn(false);
        InverseRow16(symbols, previous, plainRow.data(), n, mode);
        wideOn(true);
        InverseRow16(symbols, previous, wideRow.data(), n, mode);
        ASSERT_EQ(wideRow, plainRow) << n << " round " << round;
        if (round == 0) {
          ASSERT_TRUE(std::equal(x.begin(), x.end(), plainRow.begin())) << n;
        }
      }
    }
  }
  wideOn(false);
  EXPECT_GT(modeOne, 100);
}

}  // namespace
