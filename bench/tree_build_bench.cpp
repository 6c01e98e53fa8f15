// Time of build_tree on the three example spots (flop, turn and river roots
// of the same hand), on one thread and on all. Beside the time, each run
// reports what the tree would cost: the estimate_schematic_tree figure at
// the automatic level, and the bytes the stores really take once allocated
// at level 0 ("none") and level 5 ("fast"), measured as the growth of the
// process's address space with the allocator's caches emptied around it.
#include <benchmark/benchmark.h>
#include <tbb/scalable_allocator.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "setup/settings.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/tokenize.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "tree/store_setup.h"
#include "shell/tree_lifecycle.h"
#include "tree/tree_build.h"
#include "bench_spots.h"

namespace {

using bench::ExamplePath;
using bench::RunSilently;

constexpr double Megabyte = 1024.0 * 1024.0;

// Every line of the spot's script but build_tree, which is what is timed.
void LoadSpot(const char* script) { RunSilently(bench::ScriptLines(script, "build_tree")); }

int64_t AddressSpaceBytes() {
  long pages = 0;
  if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(statm, "%ld", &pages) != 1) pages = 0;
    std::fclose(statm);
  }
  return int64_t(pages) * sysconf(_SC_PAGESIZE);
}

// Builds at the level and allocates every store; the bytes that took.
double AllocatedBytesAtLevel(int level) {
  CompressionLevel = level;
  BuildTreeFromSetUp();
  scalable_allocation_command(TBBMALLOC_CLEAN_ALL_BUFFERS, nullptr);
  const int64_t before = AddressSpaceBytes();
  for (TreeNode& node : GlobalContext->nodes) {
    if (node.store0 && !node.store0->Allocate()) return -1.0;
    if (node.store1 && !node.store1->Allocate()) return -1.0;
  }
  const int64_t after = AddressSpaceBytes();
  FreeTree();
  scalable_allocation_command(TBBMALLOC_CLEAN_ALL_BUFFERS, nullptr);
  return double(after - before);
}

void BM_BuildTree(benchmark::State& state, const char* script) {
  LoadSpot(script);
  const int savedThreads = ThreadCount;
  const int savedLevel = CompressionLevel;
  ThreadCount = int(state.range(0));
  CompressionLevel = AutoCompression;
  for (auto _ : state) BuildTreeFromSetUp();

  const SolverContext& context = *GlobalContext;
  state.counters["estimate_MB"] = double(EstimatedTreeMegabytes(context, ActualCompression));
  state.counters["auto_level"] = ActualCompression;
  state.counters["elements_M"] =
      double(context.elementCounts[1] + context.elementCounts[2] + context.elementCounts[3]) / 1e6;
  state.counters["level0_MB"] = AllocatedBytesAtLevel(0) / Megabyte;
  state.counters["level5_MB"] = AllocatedBytesAtLevel(5) / Megabyte;
  ThreadCount = savedThreads;
  CompressionLevel = savedLevel;
  FreeTree();
}

BENCHMARK_CAPTURE(BM_BuildTree, flop, "flop_qsjh2h_spr2.txt")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_BuildTree, turn, "turn_qsjh2h_spr2.txt")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_BuildTree, river, "river_qsjh2h_spr2.txt")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// The same flop with both players on every hand: the largest lists a flop
// can have, the worst case of the hand-list build.
void BM_BuildTreeFullRanges(benchmark::State& state) {
  LoadSpot("flop_qsjh2h_spr2.txt");
  std::string ones;
  for (int i = 0; i < HandCount; ++i) ones += " 1";
  RunSilently({"set_range OOP" + ones, "set_range IP" + ones});
  const int savedThreads = ThreadCount;
  ThreadCount = int(state.range(0));
  CompressionLevel = FastCompression;
  for (auto _ : state) BuildTreeFromSetUp();
  state.counters["estimate_MB"] = double(EstimatedTreeMegabytes(*GlobalContext, ActualCompression));
  ThreadCount = savedThreads;
  FreeTree();
}
BENCHMARK(BM_BuildTreeFullRanges)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace
