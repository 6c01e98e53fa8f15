#include <gtest/gtest.h>

#include "storage/strategy_store.h"

namespace {

TEST(RiverLayout, OffsetsStridesAndSpans) {
  // Two actions; turn 0 has rivers of 3 and 5 hands, turn 1 one river of 1
  // hand, turn 2 none. Strides 4, 8, 4: entry blocks of 8, 16, 8 elements.
  RiverLayout layout = MakeRiverLayout(2, {{3, 5}, {1}, {}});
  EXPECT_EQ(layout.actions, 2);
  EXPECT_EQ(layout.groupCount, 3);
  EXPECT_EQ(layout.entryCount, 3);
  ASSERT_EQ(layout.entries.size(), 3u);
  EXPECT_EQ(layout.entries[0].offset, 0);
  EXPECT_EQ(layout.entries[0].hands, 3);
  EXPECT_EQ(layout.entries[1].offset, 8);
  EXPECT_EQ(layout.entries[1].hands, 5);
  EXPECT_EQ(layout.entries[2].offset, 24);
  EXPECT_EQ(layout.entries[2].hands, 1);
  ASSERT_EQ(layout.groups.size(), 3u);
  EXPECT_EQ(layout.groups[0].firstEntry, 0);
  EXPECT_EQ(layout.groups[0].entryCount, 2);
  EXPECT_EQ(layout.groups[1].firstEntry, 2);
  EXPECT_EQ(layout.groups[1].entryCount, 1);
  EXPECT_EQ(layout.groups[2].firstEntry, 3);
  EXPECT_EQ(layout.groups[2].entryCount, 0);
  ASSERT_EQ(layout.groupSpans.size(), 3u);
  EXPECT_EQ(layout.groupSpans[0].offset, 0);
  EXPECT_EQ(layout.groupSpans[0].elements, 24);
  EXPECT_EQ(layout.groupSpans[1].offset, 24);
  EXPECT_EQ(layout.groupSpans[1].elements, 8);
  EXPECT_EQ(layout.groupSpans[2].offset, 32);
  EXPECT_EQ(layout.groupSpans[2].elements, 0);
  EXPECT_EQ(layout.paddedElements, 32);
  EXPECT_EQ(layout.elements, 18);  // 2 * (3 + 5 + 1)
  EXPECT_EQ(layout.EntryIndex(1, 0), 2);
}

TEST(RiverLayout, StrideRoundsUpToFour) {
  const int cases[][2] = {{1, 4}, {3, 4}, {4, 4}, {5, 8}, {9, 12}, {17, 20}, {1128, 1128}};
  for (const auto& c : cases) EXPECT_EQ(RiverLayout::Stride(c[0]), c[1]) << c[0];
}

}  // namespace
