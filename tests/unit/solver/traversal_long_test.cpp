// Flop trees long enough for the strategy sums of every street to start
// (iteration 61) and for the river sums of the 16-bit stores to follow
// their own schedule.
#include <gtest/gtest.h>

#include <bit>
#include <string>

#include "solver_test_util.h"

namespace {

constexpr double Pot = 100.0;

}  // namespace

class TraversalLongTest : public SolverFixture {};

// The example flop spot at compression "fast" (16-bit river regrets, shift-
// sum river strategy sums): values stay zero-sum and best responses
// dominate across the start of averaging, and the exploitability of the
// average falls.
TEST_F(TraversalLongTest, FlopExampleAcrossTheStartOfAveraging) {
  RunScript(SourcePath("examples/flop_qsjh2h_spr2.txt"));
  AllocateStores();
  ASSERT_EQ(Context().storeLevels[1], 3);
  Iterate(62);
  double last = 0.0;
  for (int round = 0; round < 3; ++round) {
    const Measurement m = Measure();
    EXPECT_NEAR(m.evOop + m.evIp, 0.0, 1e-4 * Pot);
    EXPECT_GE(m.mesOop, m.evOop - 1e-4 * Pot);
    EXPECT_GE(m.mesIp, m.evIp - 1e-4 * Pot);
    if (round > 0) {
      EXPECT_LT(m.Exploitability(), last);
    }
    last = m.Exploitability();
    Iterate(8);
  }
  EXPECT_LT(last, 0.005 * Pot);
}
