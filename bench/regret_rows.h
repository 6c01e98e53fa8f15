// River regret rows for the codec and arena benchmarks, in the order the
// compressed river store writes them: each row flagged "chained" when it is
// predicted from the row before.
//
// Two sets. The generated one is like one node's regrets on the rivers of a
// turn: hands sorted by strength, zero for the weak ones and rising
// smoothly for the rest, each row the one before plus a change that is
// constant over runs of hands and noise on a quarter of them. The real one
// is a solved flop spot's rows of one player below one dealt turn, written
// by dump_river_rows into bench/data; row content decides what a codec
// costs, so the real set is the yardstick and the generated one a check
// that the figures don't hang on one sample.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

struct BenchRows16 {
  std::vector<std::vector<uint16_t>> rows;
  std::vector<uint8_t> chained;

  const uint16_t* Previous(size_t r) const { return chained[r] ? rows[r - 1].data() : nullptr; }
  size_t Values() const {
    size_t n = 0;
    for (const auto& row : rows) n += row.size();
    return n;
  }
};

inline BenchRows16 GeneratedRegretRows(size_t rowCount = 256, size_t hands = 1000) {
  std::mt19937 rng(2);
  BenchRows16 set;
  set.rows.assign(rowCount, std::vector<uint16_t>(hands));
  set.chained.assign(rowCount, 1);
  set.chained[0] = 0;
  auto& rows = set.rows;
  for (size_t i = 0; i < hands; ++i) rows[0][i] = uint16_t(std::max(0, int(40 * (int(i) - 300)) + int(rng() % 4)));
  for (size_t r = 1; r < rowCount; ++r)
    for (size_t i = 0; i < hands; ++i) {
      const int change = 3 * (int((i / 50 + r) % 3) - 1) + (rng() % 4 == 0 ? int(rng() % 5) - 2 : 0);
      rows[r][i] = uint16_t(std::clamp(int(rows[r - 1][i]) + change, 0, 65535));
    }
  return set;
}

// Empty if the sample is missing or damaged.
inline BenchRows16 RealRiverRows() {
  BenchRows16 set;
  std::FILE* in = std::fopen(KESTRUNE_BENCH_DATA "/river_rows.bin", "rb");
  if (!in) return set;
  uint32_t count = 0;
  bool good = std::fread(&count, 4, 1, in) == 1 && count <= 1u << 20;
  for (uint32_t r = 0; good && r < count; ++r) {
    uint16_t hands = 0;
    uint8_t chained = 0;
    good = std::fread(&hands, 2, 1, in) == 1 && std::fread(&chained, 1, 1, in) == 1 && hands <= 1326 &&
           (r > 0 || !chained) && (!chained || hands <= set.rows.back().size());
    std::vector<uint16_t> row(hands);
    good = good && std::fread(row.data(), 2, hands, in) == hands;
    set.rows.push_back(std::move(row));
    set.chained.push_back(chained);
  }
  std::fclose(in);
  if (!good) set = {};
  return set;
}

// The benchmarks' argument "real": 0 generated, 1 the solved spot's rows.
inline BenchRows16 BenchRowSet(int64_t real) { return real ? RealRiverRows() : GeneratedRegretRows(); }
