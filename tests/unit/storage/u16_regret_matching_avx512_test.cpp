// The 512-bit forms of 16-bit regret matching against a scalar reference
// written here, bit for bit, on hand counts around the block of sixteen, so
// that every length of masked tail is met; and the public functions, which
// must give the same bits whichever way the flag stands. Then the 512-bit
// fused value and regret step against its plain form.
#include "storage/kernels/u16_regret_matching_avx512.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <random>
#include <vector>

#include "setup/cpu_info.h"
#include "setup/settings.h"
#include "storage/kernels/u16_regret_matching.h"
#include "storage/kernels/u16_regret_update.h"
#include "storage/kernels/u16_regret_update_avx512.h"

namespace {

const int HandCounts[] = {0, 1, 7, 15, 16, 17, 31, 33, 100, 1081};
// Written past the end of each output row; a kernel must leave it alone.
constexpr float Sentinel = -7.0f;
constexpr int Slack = 16;
const float Fallback[3] = {0.3f, 0.45f, 0.25f};

struct FlagGuard {
  bool saved = Avx512Allowed;
  ~FlagGuard() { Avx512Allowed = saved; }
};

struct Rows {
  std::vector<uint16_t> r[3];
  std::vector<float> reach;
};

// Random regrets with the cases the kernels treat apart: every fifth hand
// all zeros (the fallback), hands with one action alone, and the largest
// elements, whose three-way total still is exact in float.
Rows MakeRows(int hands, uint32_t seed) {
  std::mt19937 rng(seed);
  Rows rows;
  for (auto& r : rows.r) r.resize(size_t(hands));
  rows.reach.resize(size_t(hands));
  for (int i = 0; i < hands; ++i) {
    for (int a = 0; a < 3; ++a) rows.r[a][size_t(i)] = uint16_t(rng() % 3000);
    switch (i % 5) {
      case 0:
        for (auto& r : rows.r) r[size_t(i)] = 0;
        break;
      case 1:
        rows.r[0][size_t(i)] = rows.r[2][size_t(i)] = 0;
        break;
      case 3:
        for (auto& r : rows.r) r[size_t(i)] = 65535;
        break;
      default:
        break;
    }
    rows.reach[size_t(i)] = i % 7 == 4 ? 0.0f : float(rng() % 10000) / 7919.0f;
  }
  return rows;
}

enum class Kernel { Match2, Match3, TimesReach2, TimesReach3 };
const Kernel Kernels[] = {Kernel::Match2, Kernel::Match3, Kernel::TimesReach2, Kernel::TimesReach3};
int Actions(Kernel k) { return k == Kernel::Match2 || k == Kernel::TimesReach2 ? 2 : 3; }
bool TimesReach(Kernel k) { return k == Kernel::TimesReach2 || k == Kernel::TimesReach3; }

using Outputs = std::vector<std::vector<float>>;

// The definition one hand at a time: the share of each action is its regret
// over the integer total, the fallback row where the total is zero; the
// reach forms give the last action what the others leave.
Outputs Reference(Kernel kernel, const Rows& rows, int hands) {
  const int actions = Actions(kernel);
  Outputs out(static_cast<size_t>(actions), std::vector<float>(size_t(hands)));
  for (int i = 0; i < hands; ++i) {
    uint32_t total = 0;
    for (int a = 0; a < actions; ++a) total += rows.r[a][size_t(i)];
    float share[3];
    for (int a = 0; a < actions; ++a)
      share[a] = total > 0 ? float(rows.r[a][size_t(i)]) / float(total) : Fallback[a];
    if (!TimesReach(kernel)) {
      for (int a = 0; a < actions; ++a) out[size_t(a)][size_t(i)] = share[a];
      continue;
    }
    float rest = 1.0f;
    for (int a = 0; a + 1 < actions; ++a) {
      out[size_t(a)][size_t(i)] = share[a] * rows.reach[size_t(i)];
      rest -= share[a];
    }
    out[size_t(actions - 1)][size_t(i)] = rest * rows.reach[size_t(i)];
  }
  return out;
}

// Runs the wide form (wide = true) or the public function, into rows with
// sentinels past their end.
Outputs RunKernel(Kernel kernel, const Rows& rows, int hands, bool wide) {
  Outputs out(size_t(Actions(kernel)), std::vector<float>(size_t(hands + Slack), Sentinel));
  const uint16_t *r0 = rows.r[0].data(), *r1 = rows.r[1].data(), *r2 = rows.r[2].data();
  const float* reach = rows.reach.data();
  float* o0 = out[0].data();
  float* o1 = out[1].data();
  float* o2 = out.size() > 2 ? out[2].data() : nullptr;
  switch (kernel) {
    case Kernel::Match2:
      (wide ? U16Match2Avx512 : U16Match2)(r0, r1, o0, o1, hands, Fallback);
      break;
    case Kernel::Match3:
      (wide ? U16Match3Avx512 : U16Match3)(r0, r1, r2, o0, o1, o2, hands, Fallback);
      break;
    case Kernel::TimesReach2:
      (wide ? U16TimesReach2Avx512 : U16TimesReach2)(r0, r1, reach, o0, o1, hands, Fallback);
      break;
    case Kernel::TimesReach3:
      (wide ? U16TimesReach3Avx512 : U16TimesReach3)(r0, r1, r2, reach, o0, o1, o2, hands, Fallback);
      break;
  }
  return out;
}

void ExpectSameBits(const Outputs& expected, const Outputs& got, int hands, const char* what) {
  for (size_t a = 0; a < expected.size(); ++a) {
    for (int i = 0; i < hands; ++i)
      ASSERT_EQ(std::bit_cast<uint32_t>(expected[a][size_t(i)]), std::bit_cast<uint32_t>(got[a][size_t(i)]))
          << what << ", action " << a << ", hand " << i << ": " << expected[a][size_t(i)] << " vs "
          << got[a][size_t(i)];
    for (int i = hands; i < hands + Slack; ++i)
      ASSERT_EQ(got[a][size_t(i)], Sentinel) << what << ", action " << a << ": written past the end at " << i;
  }
}

const char* Name(Kernel k) {
  switch (k) {
    case Kernel::Match2: return "U16Match2";
    case Kernel::Match3: return "U16Match3";
    case Kernel::TimesReach2: return "U16TimesReach2";
    case Kernel::TimesReach3: return "U16TimesReach3";
  }
  return "";
}

TEST(U16MatchAvx512, WideFormsGiveTheReferenceBits) {
  if (!CpuHasAvx512()) GTEST_SKIP() << "no AVX-512 on this processor";
  for (int hands : HandCounts) {
    const Rows rows = MakeRows(hands, uint32_t(hands) + 11);
    for (Kernel kernel : Kernels) {
      SCOPED_TRACE(::testing::Message() << Name(kernel) << " on " << hands << " hands");
      ExpectSameBits(Reference(kernel, rows, hands), RunKernel(kernel, rows, hands, true), hands, Name(kernel));
    }
  }
}

// Through the public functions, as the store calls them: the flag chooses the
// loop, never the result. On a processor without AVX-512 the flag on must
// quietly leave the plain loop in place.
TEST(U16MatchAvx512, FlagChangesNoBit) {
  FlagGuard guard;
  for (bool allowed : {false, true}) {
    Avx512Allowed = allowed;
    for (int hands : HandCounts) {
      const Rows rows = MakeRows(hands, uint32_t(hands) * 3 + 1);
      for (Kernel kernel : Kernels) {
        SCOPED_TRACE(::testing::Message() << Name(kernel) << " on " << hands << " hands, flag " << allowed);
        ExpectSameBits(Reference(kernel, rows, hands), RunKernel(kernel, rows, hands, false), hands, Name(kernel));
      }
    }
  }
}

// The fused value and regret step: the 512-bit forms against the plain ones,
// bit for bit in the values and the stepped rows, on every hand count up to
// a few blocks of sixteen and on a whole hand list. Rows with the cases the
// step treats apart: hands whose rows are all empty (the fallback), single
// actions, elements near 65535; values whose differences fall inside the
// band, well outside it, far enough out that the step saturates, and on
// its edges: small multiples of the band, which with a single nonzero row
// or with the second fallback below (binary fractions, whose products are
// exact) give exact differences; the first has products that round.
const float FusedFallbacks[2][3] = {{0.3f, 0.45f, 0.25f}, {0.25f, 0.5f, 0.25f}};

struct FusedRows {
  std::vector<uint16_t> r[3];
  std::vector<float> x[3];
  std::vector<float> out;
};

FusedRows MakeFusedRows(int hands, uint32_t seed, float band) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
  const float scales[] = {0.5f, 3000.0f, 1e7f};
  const float edges[] = {0.0f, band, -band, 2 * band, -2 * band, -4 * band};
  FusedRows rows;
  // Past the end of every row something the kernels must leave alone.
  for (int a = 0; a < 3; ++a) {
    rows.r[a].assign(size_t(hands + Slack), 4321);
    rows.x[a].assign(size_t(hands + Slack), 0.0f);
  }
  rows.out.assign(size_t(hands + Slack), Sentinel);
  for (int i = 0; i < hands; ++i) {
    const bool empty = rng() % 6 == 0;
    for (int a = 0; a < 3; ++a) {
      const uint32_t kind = rng() % 4;
      rows.r[a][size_t(i)] = empty || kind == 0 ? 0 : kind == 1 ? uint16_t(65535 - rng() % 4) : uint16_t(rng() % 5000);
      const uint32_t value = rng() % 9;
      rows.x[a][size_t(i)] = value < 3 ? scales[value] * unit(rng) : edges[value - 3];
    }
  }
  return rows;
}

void RunFused(FusedRows& rows, int actions, int hands, U16Step step, const float* fallback, bool wide) {
  uint16_t *r0 = rows.r[0].data(), *r1 = rows.r[1].data(), *r2 = rows.r[2].data();
  const float *x0 = rows.x[0].data(), *x1 = rows.x[1].data(), *x2 = rows.x[2].data();
  if (actions == 2)
    (wide ? U16Fused2Avx512 : U16Fused2Plain)(r0, r1, x0, x1, rows.out.data(), hands, step, fallback);
  else
    (wide ? U16Fused3Avx512 : U16Fused3Plain)(r0, r1, r2, x0, x1, x2, rows.out.data(), hands, step, fallback);
}

TEST(U16FusedAvx512, WideFormsGiveThePlainBits) {
  if (!CpuHasAvx512()) GTEST_SKIP() << "no AVX-512 on this processor";
  std::vector<int> counts;
  for (int hands = 0; hands <= 70; ++hands) counts.push_back(hands);
  counts.push_back(1326);
  // Bands of 0.4, 100 and 1/300.
  for (float weight : {2.5f, 0.01f, 300.0f})
    for (int hands : counts)
      for (int actions : {2, 3}) {
        SCOPED_TRACE(::testing::Message() << actions << " actions on " << hands << " hands, weight " << weight);
        const U16Step step = U16Step::ForWeight(weight);
        FusedRows plain = MakeFusedRows(hands, uint32_t(hands) * 7 + uint32_t(actions), step.t);
        FusedRows wide = plain;
        const float* fallback = FusedFallbacks[hands % 2];
        RunFused(plain, actions, hands, step, fallback, false);
        RunFused(wide, actions, hands, step, fallback, true);
        // Whole buffers, so a write past the end shows too.
        for (size_t i = 0; i < plain.out.size(); ++i) {
          ASSERT_EQ(std::bit_cast<uint32_t>(plain.out[i]), std::bit_cast<uint32_t>(wide.out[i]))
              << "value of hand " << i << ": " << plain.out[i] << " vs " << wide.out[i];
          for (int a = 0; a < actions; ++a) ASSERT_EQ(plain.r[a][i], wide.r[a][i]) << "row " << a << ", hand " << i;
        }
      }
}

}  // namespace
