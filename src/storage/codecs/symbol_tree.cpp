#include "storage/codecs/symbol_tree.h"

#include <algorithm>

namespace {

using Weight = unsigned __int128;  // 256 counts of 64 bits cannot overflow it

// The last split that follows the counts: values of 255 and up share one
// count, so no split among them could be better than the middle.
constexpr uint32_t LastCountedSplit = 255;

struct TreeBuilder {
  const uint64_t* counts;
  SymbolTreeNode* table;
  uint32_t next = 0;  // the next free node

  uint64_t Count(uint32_t value) const { return counts && value < HistogramSize ? counts[value] : 0; }

  // Makes the subtree of the values lo to hi - 1, whose counts sum to
  // weight, from node next on. Depth is at most 255 + 10: splits that
  // follow counts stop at 255, and the middle halves the range.
  void Build(uint32_t lo, uint32_t hi, Weight weight) {
    const uint32_t width = hi - lo;
    if (width < 2) return;
    const uint32_t node = next++;
    if (node >= SymbolTreeNodes) return;  // cannot happen: each range of n values makes n - 1 nodes
    if (width == 2) {
      table[node] = {0, uint16_t(lo + 1)};
      return;
    }
    uint32_t split = lo + width / 2;
    Weight left = 0;
    if (weight >= 1 && lo < LastCountedSplit) {
      // The first value at which the count of the values before it reaches
      // half the weight. Half is at least 1, so split > lo, and the limit
      // keeps split < hi: neither side is empty.
      const Weight half = weight / 2 + (weight & 1);
      const uint32_t limit = std::min(LastCountedSplit, hi - 1);
      for (split = lo; split < limit && left < half; ++split) left += Count(split);
    }
    Build(lo, split, left);
    table[node] = {uint16_t(next), uint16_t(split)};
    Build(split, hi, weight - left);
  }
};

}  // namespace

bool CreateOptimalTree(const uint64_t* histogram, SymbolTreeNode* table) {
  Weight total = 0;
  if (histogram)
    for (size_t v = 0; v < HistogramSize; ++v) total += histogram[v];
  TreeBuilder builder{histogram, table};
  builder.Build(0, SymbolTreeValues, total);
  return builder.next == SymbolTreeNodes;
}
