// Rows like one node's regrets on the rivers of a turn, for the codec and
// arena benchmarks: hands sorted by strength, zero for the weak ones and
// rising smoothly for the rest, each row the one before plus a change that
// is constant over runs of hands and noise on a quarter of them, so that
// the step against the previous row is often the better prediction.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

inline std::vector<std::vector<uint16_t>> ChainedRegretRows(size_t rowCount, size_t hands) {
  std::mt19937 rng(2);
  std::vector<std::vector<uint16_t>> rows(rowCount, std::vector<uint16_t>(hands));
  for (size_t i = 0; i < hands; ++i) rows[0][i] = uint16_t(std::max(0, int(40 * (int(i) - 300)) + int(rng() % 4)));
  for (size_t r = 1; r < rowCount; ++r)
    for (size_t i = 0; i < hands; ++i) {
      const int change = 3 * (int((i / 50 + r) % 3) - 1) + (rng() % 4 == 0 ? int(rng() % 5) - 2 : 0);
      rows[r][i] = uint16_t(std::clamp(int(rows[r - 1][i]) + change, 0, 65535));
    }
  return rows;
}
