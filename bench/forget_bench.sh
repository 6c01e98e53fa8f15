#!/usr/bin/env bash
# Forgetting benchmark: what a solved flop tree costs after `forget rivers`
# and after `forget turns`, against the whole tree, and what bringing the
# rivers back costs.
#
# - file MiB: the dump_tree file of the tree in that state.
# - load peak MiB: the peak resident set of a fresh process that loads the
#   file (/usr/bin/time): the memory the tree in that state takes, with the
#   program's own.
# - re-solve ms: one river subgame solved on demand by a strategy query, at
#   the default accuracy of 0 (so every solve runs its 1000 rounds), as the
#   "[SolveSubgame: N ms]" line of the verbose switch reports it.
# - all splits s: `solve_all_splits rivers` on the loaded forgotten tree,
#   `solver_time` before and after: every river of every turn solved again
#   for as many rounds as the tree had iterations.
#
# Usage: bench/forget_bench.sh [build dir] [scratch dir]
# Runs the spr2 and the deep 3-bet flop spots at "fast", 70 iterations.
. "$(dirname "$0")/bench_args.sh"
river=r:0:c:c:8d:c:c:3c

peak() {  # file [command...]: peak MiB of a process that loads the file
  local file=$1
  shift
  { echo "set_threads 2"; echo "load_tree $file"; printf '%s\n' "$@"; } |
    /usr/bin/time -f 'PEAK %M' "$program" -v 2>&1 | awk '/^PEAK/ { printf "%.1f", $2 / 1024 }'
}

run() {  # spot level iterations
  local spot=$1 level=$2 steps=$3
  { echo "set_threads 2"; echo "set_compression $level"; grep -v '^build_tree' "$root/bench/spots/$spot.txt"
    echo "build_tree"; echo "go $steps steps"; echo "wait_for_solver"
    echo "dump_tree $scratch/full.tree"
    echo "forget rivers"; echo "dump_tree $scratch/rivers.tree"
    echo "show_strategy $river"
    echo "forget turns"; echo "dump_tree $scratch/turns.tree"; } |
    "$program" -v > "$scratch/solve.out" 2>&1
  local resolve
  resolve=$(grep -m1 -o 'SolveSubgame: [0-9.]*ms' "$scratch/solve.out" | grep -o '[0-9.]*' | head -1)
  local splits
  splits=$( { echo "set_threads 2"; echo "load_tree $scratch/rivers.tree"; echo "solver_time";
              echo "solve_all_splits rivers"; echo "solver_time"; } |
            "$program" 2>&1 | grep -E '^[0-9.]+$' | awk 'NR == 1 { a = $1 } NR == 2 { printf "%.1f", $1 - a }')
  for state in full rivers turns; do
    local file=$scratch/$state.tree size
    size=$(stat -c %s "$file")
    printf '| %-22s | %-5s | %3d | %-14s | %8.2f | %8s |' "$spot" "$level" "$steps" "$state" \
      "$(echo "$size / 1048576" | bc -l)" "$(peak "$file")"
    if [ "$state" = rivers ]; then printf ' %6s | %6s |\n' "$resolve" "$splits"; else printf '  |  |\n'; fi
  done
  rm -f "$scratch"/*.tree
}

echo "| spot | level | it | state | file MiB | load peak MiB | re-solve ms | all splits s |"
echo "|---|---|---|---|---|---|---|---|"
run flop_qsjh2h_spr2 fast 70
run flop_qsjh2h_3bet_deep fast 70
