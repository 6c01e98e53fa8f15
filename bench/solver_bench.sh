#!/usr/bin/env bash
# End-to-end solver benchmark: the three example spots at 1 and 2 threads.
#
# Two runs per spot and thread count. The accuracy run solves to 0.5% of the
# pot and reads its stop point from the SOLVER: lines; the solver measures at
# most every 250-500 ms, so that time is only as fine as those gaps, and a
# spot that reaches the iteration cap first ("stopped (requested)") has no
# time to accuracy. The step run does a fixed number of iterations without
# measuring (a huge info period), timed by the wall clock around the process
# minus the same script without go (both end in one calc_results, so its two
# evaluate passes cancel): that is the iterations/second to trust.
#
# usage: bench/solver_bench.sh [path/to/kestrune]
set -euo pipefail

prog=${1:-build/release/kestrune}
here=$(cd "$(dirname "$0")/.." && pwd)
[[ -x $prog ]] || { echo "no program at $prog" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

have_time=0
[[ -x /usr/bin/time ]] && have_time=1

declare -A steps=([river]=2000 [turn]=200 [flop]=60)

# run NAME INPUTFILE: runs the program, leaves NAME.out, NAME.mem, NAME.wall
run() {
  local name=$1 input=$2 t0 t1
  t0=$(date +%s.%N)
  if ((have_time)); then
    /usr/bin/time -f %M -o "$work/$name.mem" "$prog" --verbose --compactmsg <"$input" >"$work/$name.out" 2>&1
  else
    "$prog" --verbose --compactmsg <"$input" >"$work/$name.out" 2>&1
    grep -o 'peak working set [0-9]*' "$work/$name.out" | tail -1 | awk '{print $4 * 1024}' >"$work/$name.mem"
  fi
  t1=$(date +%s.%N)
  echo "$t1 - $t0" | bc -l >"$work/$name.wall"
}

echo "program: $prog"
echo "command line: $prog --verbose --compactmsg < SCRIPT"
echo "peak memory from: $( ((have_time)) && echo '/usr/bin/time -f %M' || echo 'verbose peak working set line')"
echo

rows=()
for spot in river turn flop; do
  spotfile=$here/examples/${spot}_qsjh2h_spr2.txt
  for threads in 1 2; do
    base=$work/$spot.$threads
    tail_acc=$(printf 'set_threads %d\nset_accuracy 0.005 fraction\nset_info_freq 5\ngo 300 seconds\nwait_for_solver\ncalc_results\necho $solver_iterations\n' "$threads")
    tail_build=$(printf 'set_threads %d\nset_info_freq 1000000000\ncalc_results\n' "$threads")
    tail_steps=$(printf 'set_threads %d\nset_info_freq 1000000000\ngo %d steps\nwait_for_solver\ncalc_results\necho $solver_iterations\n' "$threads" "${steps[$spot]}")
    { cat "$spotfile"; echo "$tail_acc"; } >"$base.acc.in"
    { cat "$spotfile"; echo "$tail_build"; } >"$base.build.in"
    { cat "$spotfile"; echo "$tail_steps"; } >"$base.steps.in"
    if [[ $spot == river && $threads == 1 ]]; then
      echo "scripts: <spot file> followed by"
      echo "  accuracy run: $(echo "$tail_acc" | paste -sd';')"
      echo "  build only:   $(echo "$tail_build" | paste -sd';')"
      echo "  step run:     $(echo "$tail_steps" | paste -sd';') (steps: river 2000, turn 200, flop 60)"
      echo
    fi
    run "$spot.$threads.acc" "$base.acc.in"
    run "$spot.$threads.build" "$base.build.in"
    run "$spot.$threads.steps" "$base.steps.in"

    out=$work/$spot.$threads.acc.out
    stopline=$(grep -m1 '^SOLVER: stopped' "$out" || echo "none")
    iters=$(grep -A1 '^calc_results ok!' "$out" | tail -1)
    if [[ $stopline == *"required accuracy reached"* ]]; then
      acc_time=$(sed -n '/^SOLVER: stopped/q;s/^SOLVER: running time: \([0-9.]*\).*/\1/p' "$out" | tail -1)
      acc_iters=$(sed -n '/^SOLVER: stopped/q;s/^\[\([0-9]*\) iterations.*/\1/p' "$out" | tail -1)
      acc_ips=$(awk -v n="$acc_iters" -v t="$acc_time" 'BEGIN { if (t > 0) printf "%.1f", n / t; else print "-" }')
    else
      acc_time="n/a, stopped ${stopline#SOLVER: stopped }"
      acc_ips="-"
    fi
    mem_kb=$(tail -1 "$work/$spot.$threads.acc.mem")
    step_time=$(echo "$(cat "$work/$spot.$threads.steps.wall") - $(cat "$work/$spot.$threads.build.wall")" | bc -l)
    step_iters=$(grep -A1 '^calc_results ok!' "$work/$spot.$threads.steps.out" | tail -1)
    step_ips=$(awk -v n="$step_iters" -v t="$step_time" 'BEGIN { if (t > 0) printf "%.1f", n / t; else print "-" }')
    step_mem=$(tail -1 "$work/$spot.$threads.steps.mem")
    rows+=("$spot|$threads|$iters|$acc_time|$acc_ips|$((mem_kb / 1024))|$step_iters|$(printf '%.3f' "$step_time")|$step_ips|$((step_mem / 1024))")
  done
done

printf '%-6s %3s %8s %-32s %9s %8s | %6s %8s %9s %8s\n' spot thr "iters" "time to 0.5% (s)" "it/s" "peak MB" steps "time (s)" "it/s" "peak MB"
for row in "${rows[@]}"; do
  IFS='|' read -r a b c d e f g h i j <<<"$row"
  printf '%-6s %3s %8s %-32s %9s %8s | %6s %8s %9s %8s\n' "$a" "$b" "$c" "$d" "$e" "$f" "$g" "$h" "$i" "$j"
done
echo
echo "2-thread / 1-thread iterations per second:"
for spot in river turn flop; do
  one=$(printf '%s\n' "${rows[@]}" | awk -F'|' -v s="$spot" '$1 == s && $2 == 1')
  two=$(printf '%s\n' "${rows[@]}" | awk -F'|' -v s="$spot" '$1 == s && $2 == 2')
  acc=$(awk -v a="$(cut -d'|' -f5 <<<"$one")" -v b="$(cut -d'|' -f5 <<<"$two")" \
    'BEGIN { if (a + 0 > 0 && b + 0 > 0) printf "%.2f", b / a; else print "-" }')
  stp=$(awk -v a="$(cut -d'|' -f9 <<<"$one")" -v b="$(cut -d'|' -f9 <<<"$two")" \
    'BEGIN { if (a + 0 > 0 && b + 0 > 0) printf "%.2f", b / a; else print "-" }')
  echo "  $spot: accuracy run $acc, step run $stp"
done
