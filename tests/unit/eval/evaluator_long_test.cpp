// Every seven-card hand, counted by category against the published totals:
// 133,784,560 hands through the same entry that values a board's combos.
// A wrong table entry or a mixed-up branch shifts at least one total.
#include <gtest/gtest.h>

#include <cstdint>

#include "eval/evaluate_cards.h"
#include "eval/hand_tables.h"
#include "eval/hand_value.h"

namespace {

TEST(EvaluatorLongTest, AllSevenCardHandsMatchPublishedTotals) {
  InitHandTables();
  uint64_t byType[16] = {};
  // Lane masks are built up one card per loop level, so the cost is the
  // evaluation alone.
  auto lane = [](int card) { return SuitLaneMask(1) << (16 * (card / 13) + card % 13); };
  for (int a = 0; a < 52; ++a)
    for (int b = a + 1; b < 52; ++b) {
      SuitLaneMask ab = lane(a) | lane(b);
      for (int c = b + 1; c < 52; ++c)
        for (int d = c + 1; d < 52; ++d) {
          SuitLaneMask abcd = ab | lane(c) | lane(d);
          for (int e = d + 1; e < 52; ++e)
            for (int f = e + 1; f < 52; ++f) {
              SuitLaneMask abcdef = abcd | lane(e) | lane(f);
              for (int g = f + 1; g < 52; ++g) ++byType[EvaluateLanes(abcdef | lane(g), 7) >> 24];
            }
        }
    }
  const uint64_t published[9] = {23294460, 58627800, 31433400, 6461620, 6180020,
                                 4047644,  3473184,  224848,   41584};
  uint64_t total = 0;
  for (int type = 0; type < 9; ++type) {
    EXPECT_EQ(byType[type], published[type]) << HandTypeWords[type];
    total += byType[type];
  }
  EXPECT_EQ(total, 133784560u);
}

}  // namespace
