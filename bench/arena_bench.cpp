// A dealt turn's block as the solver will use it: one player's river rows
// below a turn written into an arena and read back, chained as the
// compressed store chains them.
// Speeds are of raw 16-bit row bytes; beside the codec's own figures they
// show what the scratch buffers, the commit and the copy into the block
// add. "share" is the block's bytes over the raw ones. With rows:K the set
// is cut into blocks of K rows, each an arena of its own, written and read
// one after the other: a solved tree's blocks hold a few tens of rows, and
// then what each block costs once (scratch, tables of 24 streams) shows.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "regret_rows.h"
#include "storage/packed_arena.h"
#include "storage/stream_arena.h"

namespace {

std::unique_ptr<MemoryArena> MakeArena(bool packed, size_t values) {
  if (packed) return std::make_unique<PackedArena>(int64_t(values), 2);
  return std::make_unique<StreamArena>(int64_t(values));
}

// The blocks of a set: rows [first, first + K) each; K 0 is one block.
struct Blocks {
  std::vector<std::unique_ptr<MemoryArena>> arenas;
  size_t rowsPerBlock;
  size_t Begin(size_t b) const { return b * rowsPerBlock; }
  size_t End(size_t b, size_t rows) const { return std::min(rows, (b + 1) * rowsPerBlock); }
};

Blocks MakeBlocks(bool packed, const BenchRows16& set, size_t rowsPerBlock) {
  Blocks blocks{{}, rowsPerBlock ? rowsPerBlock : set.rows.size()};
  for (size_t first = 0; first < set.rows.size(); first += blocks.rowsPerBlock) {
    size_t values = 0;
    for (size_t r = first; r < std::min(set.rows.size(), first + blocks.rowsPerBlock); ++r) values += set.rows[r].size();
    blocks.arenas.push_back(MakeArena(packed, values));
  }
  return blocks;
}

// A block's first row has no previous row, as a chain's first row.
const uint16_t* PreviousIn(const BenchRows16& set, size_t r, size_t first) {
  return r == first ? nullptr : set.Previous(r);
}

void Write(Blocks& blocks, const BenchRows16& set) {
  for (size_t b = 0; b < blocks.arenas.size(); ++b) {
    MemoryArena& arena = *blocks.arenas[b];
    arena.BeginWrite();
    for (size_t r = blocks.Begin(b); r < blocks.End(b, set.rows.size()); ++r)
      arena.WriteRow16(set.rows[r].data(), PreviousIn(set, r, blocks.Begin(b)), set.rows[r].size());
    arena.EndWrite();
  }
}

// Arguments: the packed arena instead of the stream one, the real rows
// instead of generated ones, and the rows of a block (0: all).
void BM_ArenaWrite(benchmark::State& state) {
  const BenchRows16 set = BenchRowSet(state.range(1));
  if (set.rows.empty()) return state.SkipWithError("no river row sample");
  Blocks blocks = MakeBlocks(state.range(0) != 0, set, size_t(state.range(2)));
  for (auto _ : state) Write(blocks, set);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.Values() * 2));
  int64_t coded = 0;
  for (const auto& arena : blocks.arenas) coded += arena->Size();
  state.counters["share"] = double(coded) / double(set.Values() * 2);
}
BENCHMARK(BM_ArenaWrite)->ArgNames({"packed", "real", "rows"})->ArgsProduct({{0, 1}, {0, 1}, {0, 24}});

void BM_ArenaRead(benchmark::State& state) {
  const BenchRows16 set = BenchRowSet(state.range(1));
  if (set.rows.empty()) return state.SkipWithError("no river row sample");
  Blocks blocks = MakeBlocks(state.range(0) != 0, set, size_t(state.range(2)));
  Write(blocks, set);
  BenchRows16 back = set;
  for (auto _ : state) {
    for (size_t b = 0; b < blocks.arenas.size(); ++b) {
      MemoryArena& arena = *blocks.arenas[b];
      arena.BeginRead();
      for (size_t r = blocks.Begin(b); r < blocks.End(b, back.rows.size()); ++r)
        arena.ReadRow16(back.rows[r].data(), PreviousIn(back, r, blocks.Begin(b)), back.rows[r].size());
      arena.EndRead();
    }
    benchmark::DoNotOptimize(back.rows.data());
  }
  if (back.rows != set.rows) state.SkipWithError("rows read back differ");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.Values() * 2));
}
BENCHMARK(BM_ArenaRead)->ArgNames({"packed", "real", "rows"})->ArgsProduct({{0, 1}, {0, 1}, {0, 24}});

}  // namespace
