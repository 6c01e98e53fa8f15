#include "setup/ranges.h"

#include <cassert>
#include <cmath>
#include <limits>

#include "setup/board.h"
#include "setup/cards.h"
#include "setup/failure.h"

std::array<std::vector<double>, 2> Ranges;

int ParsePlayer(const std::string& word) {
  if (word == "OOP" || word == "hero") return 0;
  if (word == "IP" || word == "villain") return 1;
  FailCommand("incorrect player name");
}

bool RangesAreFinite(const std::array<std::vector<double>, 2>& ranges) {
  for (const std::vector<double>& range : ranges)
    for (double w : range)
      if (!std::isfinite(w)) return false;
  return true;
}

RangeSummary StoreRange(int player, const std::vector<double>& weightsByHandOrder, int lowestRank) {
  assert(weightsByHandOrder.size() == size_t(HandCount));
  // The cards a shortened deck lacks, as one mask: one test per combo.
  CardMask removed = CardsBelowRank(lowestRank);

  RangeSummary summary = {std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(), 0, 0};
  std::vector<double> weights(HandCount);
  for (int c = 0; c < HandCount; ++c) {
    double w = weightsByHandOrder[ComboToHandOrder[c]];
    if (w > 0.0 && w < TinyWeight) {
      w = 0.0;
      ++summary.roundedToZero;
    }
    if (ComboMask[c] & removed) w = 0.0;
    if (w < summary.smallest) summary.smallest = w;
    if (w > summary.largest) summary.largest = w;
    if (w > 0.0) ++summary.nonzero;
    weights[c] = w;
  }
  Ranges[player] = std::move(weights);
  return summary;
}
