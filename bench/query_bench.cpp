// Time of the queries a user browses a solved tree with, on the flop
// example after 70 iterations (past the start of strategy averaging), at
// two threads: show_strategy of a flop, a turn and a river node, calc_ev of
// a flop node, calc_line_freq of a river line with no cards, calc_eq_node.
#include <benchmark/benchmark.h>

#include "bench_spots.h"
#include "setup/settings.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "solver/traversal.h"

namespace {

void SolveFlopOnce() {
  static bool solved = false;
  if (solved) return;
  solved = true;
  ThreadCount = 2;
  bench::RunSilently(bench::ScriptLines("flop_qsjh2h_spr2.txt"));
  AllocateStores(*GlobalContext);
  for (int i = 0; i < 70; ++i) RunIteration(*GlobalContext);
}

void BM_Query(benchmark::State& state, const char* command) {
  SolveFlopOnce();
  for (auto _ : state) bench::RunSilently({command});
}

}  // namespace

BENCHMARK_CAPTURE(BM_Query, show_strategy_flop, "show_strategy r:0")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Query, show_strategy_turn, "show_strategy r:0:c:c:Kd:b50")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Query, show_strategy_river, "show_strategy r:0:c:c:Kd:c:c:5s")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Query, calc_ev_flop, "calc_ev OOP r:0:b50")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(BM_Query, calc_line_freq_river_no_cards, "calc_line_freq r:0:c:c:c:c:b50")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);
BENCHMARK_CAPTURE(BM_Query, calc_eq_node_flop, "calc_eq_node OOP r:0:b50")->Unit(benchmark::kMillisecond);
