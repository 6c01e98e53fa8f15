#include "tree/showdown_tables.h"

void BuildShowdownTables(BoardNode& entry) {
  entry.tieRuns.clear();
  entry.smallGroups.clear();
  entry.largeGroups.clear();
  const size_t count = entry.strengths.size();
  size_t first = 0;
  while (first < count) {
    size_t end = first + 1;
    while (end < count && entry.strengths[end] == entry.strengths[first]) ++end;
    const uint16_t size = uint16_t(end - first);
    const uint16_t group = uint16_t(entry.tieRuns.size());
    entry.tieRuns.push_back(size);
    if (size <= SmallTieGroupLimit) {
      SmallTieGroup record;
      record.group = group;
      record.firstHand = uint16_t(first);
      record.size = size;
      // Up to 8 hands: lane i is hand i. Larger: lane i is hand 8 + i, the
      // second half of the group's 16-bit mask.
      const int base = size <= 8 ? 0 : 8;
      for (int lane = 0; lane < 8; ++lane) record.lanes[lane] = base + lane < size ? 1 : 0;
      entry.smallGroups.push_back(record);
    } else {
      entry.largeGroups.push_back({group, uint16_t(first), size});
    }
    first = end;
  }
}
