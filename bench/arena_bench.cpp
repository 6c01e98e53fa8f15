// A dealt turn's block as the solver will use it: 256 rows of 1000 hands
// written into an arena and read back, each row chained to the one before.
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

constexpr size_t Hands = 1000, Rows = 256;

std::unique_ptr<MemoryArena> MakeArena(bool packed) {
  if (packed) return std::make_unique<PackedArena>(int64_t(Hands * Rows), 2);
  return std::make_unique<StreamArena>(int64_t(Hands * Rows));
}

void Write(MemoryArena& arena, const std::vector<std::vector<uint16_t>>& rows) {
  arena.BeginWrite();
  for (size_t r = 0; r < rows.size(); ++r) arena.WriteRow16(rows[r].data(), r ? rows[r - 1].data() : nullptr, Hands);
  arena.EndWrite();
}

void BM_ArenaWrite(benchmark::State& state) {
  const auto rows = ChainedRegretRows(Rows, Hands);
  auto arena = MakeArena(state.range(0) != 0);
  for (auto _ : state) Write(*arena, rows);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(Rows * Hands * 2));
  state.counters["share"] = double(arena->Size()) / double(Rows * Hands * 2);
}
BENCHMARK(BM_ArenaWrite)->ArgName("packed")->Arg(0)->Arg(1);

void BM_ArenaRead(benchmark::State& state) {
  const auto rows = ChainedRegretRows(Rows, Hands);
  auto arena = MakeArena(state.range(0) != 0);
  Write(*arena, rows);
  std::vector<std::vector<uint16_t>> back(Rows, std::vector<uint16_t>(Hands));
  for (auto _ : state) {
    arena->BeginRead();
    for (size_t r = 0; r < Rows; ++r) arena->ReadRow16(back[r].data(), r ? back[r - 1].data() : nullptr, Hands);
    arena->EndRead();
    benchmark::DoNotOptimize(back.data());
  }
  if (back != rows) state.SkipWithError("rows read back differ");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(Rows * Hands * 2));
}
BENCHMARK(BM_ArenaRead)->ArgName("packed")->Arg(0)->Arg(1);

}  // namespace
