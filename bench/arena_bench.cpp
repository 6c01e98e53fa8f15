// A dealt turn's block as the solver will use it: one player's river rows
// below a turn written into an arena and read back, chained as the
// compressed store chains them.
// Speeds are of raw 16-bit row bytes; beside the codec's own figures they
// show what the scratch buffers, the commit and the copy into the block
// add. "share" is the block's bytes over the raw ones.
#include <benchmark/benchmark.h>

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

void Write(MemoryArena& arena, const BenchRows16& set) {
  arena.BeginWrite();
  for (size_t r = 0; r < set.rows.size(); ++r) arena.WriteRow16(set.rows[r].data(), set.Previous(r), set.rows[r].size());
  arena.EndWrite();
}

// Arguments: the packed arena instead of the stream one, and the real rows
// instead of generated ones.
void BM_ArenaWrite(benchmark::State& state) {
  const BenchRows16 set = BenchRowSet(state.range(1));
  if (set.rows.empty()) return state.SkipWithError("no river row sample");
  auto arena = MakeArena(state.range(0) != 0, set.Values());
  for (auto _ : state) Write(*arena, set);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.Values() * 2));
  state.counters["share"] = double(arena->Size()) / double(set.Values() * 2);
}
BENCHMARK(BM_ArenaWrite)->ArgNames({"packed", "real"})->ArgsProduct({{0, 1}, {0, 1}});

void BM_ArenaRead(benchmark::State& state) {
  const BenchRows16 set = BenchRowSet(state.range(1));
  if (set.rows.empty()) return state.SkipWithError("no river row sample");
  auto arena = MakeArena(state.range(0) != 0, set.Values());
  Write(*arena, set);
  BenchRows16 back = set;
  for (auto _ : state) {
    arena->BeginRead();
    for (size_t r = 0; r < back.rows.size(); ++r)
      arena->ReadRow16(back.rows[r].data(), back.Previous(r), back.rows[r].size());
    arena->EndRead();
    benchmark::DoNotOptimize(back.rows.data());
  }
  if (back.rows != set.rows) state.SkipWithError("rows read back differ");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.Values() * 2));
}
BENCHMARK(BM_ArenaRead)->ArgNames({"packed", "real"})->ArgsProduct({{0, 1}, {0, 1}});

}  // namespace
