#!/usr/bin/env bash
# Tree file benchmark: dump_tree and load_tree times and file sizes of the
# flop spots, each solved a fixed number of iterations at a compression
# level, then dumped and loaded in a fresh process.
#
# - dump s, load s: `solver_time` (process clock, seconds) just before and
#   after the command. The dump includes the fsync that puts the file on
#   the disk; the load reads a file the page cache holds, so it measures
#   the reader, not the disk.
# - MB/s: file bytes (MiB) over those times.
# - load peak: the loading process's peak resident set (/usr/bin/time),
#   the memory of the loaded tree and the program; beside it "solve peak",
#   that of the process that built and solved it.
#
# Usage: bench/tree_file_bench.sh [build dir] [scratch dir]
# Runs: spr2 at "fast" and "max", deep at "max", 70 iterations each: past
# iteration 61, where the strategy sums begin, so files are full size.
. "$(dirname "$0")/bench_args.sh"

run() {  # spot level iterations
  local spot=$1 level=$2 steps=$3 file=$scratch/bench.tree
  local first second
  first=$( { echo "set_threads 2"; echo "set_compression $level"; grep -v '^build_tree' "$root/bench/spots/$spot.txt";
            echo "build_tree"; echo "go $steps steps"; echo "wait_for_solver";
            echo "solver_time"; echo "dump_tree $file"; echo "solver_time"; } |
           /usr/bin/time -f 'PEAK %M' "$program" 2>&1 | grep -E '^[0-9.]+$|^PEAK' )
  second=$( { echo "set_threads 2"; echo "solver_time"; echo "load_tree $file"; echo "solver_time"; } |
            /usr/bin/time -f 'PEAK %M' "$program" 2>&1 | grep -E '^[0-9.]+$|^PEAK' )
  local size
  size=$(stat -c %s "$file")
  awk -v spot="$spot" -v level="$level" -v steps="$steps" -v size="$size" -v a="$first" -v b="$second" 'BEGIN {
    split(a, x, "\n"); split(b, y, "\n");
    dump = x[2] - x[1]; load = y[2] - y[1]; mb = size / 1048576;
    solvePeak = substr(x[3], 6) / 1024; loadPeak = substr(y[3], 6) / 1024;
    printf "| %-22s | %-5s | %3d | %8.1f | %6.3f | %6.0f | %6.3f | %6.0f | %8.1f | %8.1f |\n",
      spot, level, steps, mb, dump, mb / dump, load, mb / load, loadPeak, solvePeak }'
  rm -f "$file"
}

echo "| spot | level | it | file MiB | dump s | MB/s | load s | MB/s | load peak MiB | solve peak MiB |"
echo "|---|---|---|---|---|---|---|---|---|---|"
run flop_qsjh2h_spr2 fast 70
run flop_qsjh2h_spr2 max 70
run flop_qsjh2h_3bet_deep max 70
