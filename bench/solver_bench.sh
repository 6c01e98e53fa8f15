#!/usr/bin/env bash
# End-to-end solver benchmark: the three spots of bench/spots at 1 and 2
# threads, and at 2 threads across the settings that choose code paths:
# `set_simd_level` 1 or 8, `enable_avx512` 0 or 1, and the compression level
# 0 ("none") or 5 ("fast"), given before build_tree. Only a tree rooted on the
# flop has compressed river stores, so the level is varied on the flop spot
# only; turn and river run at "fast", the level the automatic choice picks for
# them (it still sets their iteration cap: 2200 at "fast", 9000 at "none").
#
# Each row runs up to four processes, all with --verbose --compactmsg:
#
# - accuracy run: `set_accuracy 0.005 fraction`, `set_info_freq 5`, `go 300
#   seconds`. "go->stopped" is the time from `go` to the "SOLVER: stopped"
#   line, read from `solver_time` (microseconds) given just before `go` and
#   just after `wait_for_solver`; it includes the store allocation of the
#   first `go` and every measurement the driver makes (two evaluate passes
#   each). "stop it" is the iteration it stopped at, with the reason: acc
#   (accuracy reached), cap (iteration cap, printed as "requested") or time.
#   This time is bounded below by when the driver measures: only on multiples
#   of the measurement period, the first at once, and after that not before
#   250 ms have passed since the last one (500 ms from iteration 4 x period
#   on). A spot that misses the accuracy at its first measurement therefore
#   needs at least 250 ms, however fast its iterations; the river spot
#   (~50 us an iteration) stops at about 250 ms, or at the 2200 cap if that
#   comes first, far beyond the iteration where it reached the accuracy.
# - probe (river and turn): the solver in chunks of K iterations (river 1,
#   turn 5) with `calc_results` after each, which measures with no gap;
#   "1st acc it" is the first iteration at which the exploitability is within
#   0.5% of the pot. Then a fresh process runs exactly that many iterations
#   as a fixed-steps run, and "solver ms" is its time (from `solver_time`
#   around `go N steps` ... `wait_for_solver`): the solving time of that spot
#   without measurement overhead or gaps. The flop's iterations are slower
#   than the gaps, so its accuracy run already measures at every 5th
#   iteration: there "1st acc it" is the stop iteration, and "solver ms" is
#   that many iterations at the step run's pace (marked ~).
# - step run: a fixed number of iterations (river 2000, turn 100, flop 10)
#   from a fresh tree without measuring (a huge info period); `calc_results`
#   first, so that the stores are allocated outside the timed stretch, which
#   is again `solver_time` around `go N steps` ... `wait_for_solver`. This
#   gives "it/s", the figure to compare between builds.
#
# "ms/it" is the step run's time per iteration; "/floor" sets it, for the
# flop at 2 threads, against a rough floor of 27.5 ms per iteration on two
# AVX cores (the middle of 25-30 ms: about 1.1 G floating-point operations
# and 0.2-0.3 GB of 16-bit rows read and written per iteration).
# "peak MB" is the peak resident memory of the whole accuracy-run process
# (/usr/bin/time -f %M; without it, the driver's last peak working set line).
# Strategy sums start at iteration 61, so a run that stops before it has not
# touched the river sum rows yet, and its peak leaves them out.
# "x SIMD1" is, on the flop, the step run's it/s over that of the SIMD level 1
# row with the same threads, compression and AVX-512 flag (or, failing that,
# with AVX-512 off at the same compression; "-" when there is none).
#
# The default runs the rows that matter most, in a few minutes on two cores:
# the three spots at 1 and 2 threads in the default configuration (SIMD 8,
# AVX-512 off, "fast"), and the flop at 2 threads with AVX-512 on, at SIMD 1,
# and at compression "none"; then the default flop row's accuracy run once
# more at the default measurement period of 25 iterations. --full runs the whole matrix at 2 threads.
# Timings are wall-clock on a shared machine: the load average is printed
# before and after, and a busy machine shows in every figure.
#
# --levels runs instead the compression levels: both flop spots
# (flop_qsjh2h_spr2 and the deep 3-bet pot flop_qsjh2h_3bet_deep) at 2
# threads, each of the levels 0 to 5 given before build_tree, to 0.5% of the
# pot (accuracy run as above, with `set_info_freq 5`). Per row: the stop
# iteration, go->stopped, the peak resident memory of the process, the
# reply of `estimate_schematic_tree` (MB) and the peak over that estimate;
# then per level the measured peak over level 0's peak beside the ratio
# that the estimate uses for this flop (two suits). The peak includes what
# the process holds besides the stores (tables, the tree, the solver's
# arrays), which the estimate leaves out. About 15 minutes on two cores.
#
# usage: bench/solver_bench.sh [path/to/kestrune] [--full | --levels]
set -euo pipefail

prog=build/release/kestrune
full=0
levels=0
for arg in "$@"; do
  case $arg in
    --full) full=1 ;;
    --levels) levels=1 ;;
    -h | --help) sed -n '2,/^# usage/s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) prog=$arg ;;
  esac
done
here=$(cd "$(dirname "$0")" && pwd)
[[ -x $prog ]] || { echo "no program at $prog" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

have_time=0
[[ -x /usr/bin/time ]] && have_time=1

declare -A steps=([river]=2000 [turn]=100 [flop]=10)
# Chunk size and iteration limit of the probe; the flop has none.
declare -A probe_chunk=([river]=1 [turn]=5)
declare -A probe_limit=([river]=400 [turn]=250)
declare -A comp_word=([0]=none [5]=fast)

# Rows: spot threads simd avx512 compression.
configs=()
for spot in river turn flop; do
  configs+=("$spot 1 8 0 5" "$spot 2 8 0 5")
done
if ((full)); then
  for spot in river turn flop; do
    levels=5
    [[ $spot == flop ]] && levels="5 0"
    for comp in $levels; do
      for simd in 8 1; do
        for avx in 0 1; do
          row="$spot 2 $simd $avx $comp"
          [[ $row == "$spot 2 8 0 5" ]] || configs+=("$row")
        done
      done
    done
  done
else
  configs+=("flop 2 8 1 5" "flop 2 1 0 5" "flop 2 8 0 0")
fi

# prefix SPOT COMP THREADS SIMD AVX: the spot script with the compression
# level before its build_tree line, then the settings of the row.
prefix() {
  awk -v level="${comp_word[$2]}" '$1 == "build_tree" && !done { print "set_compression " level; done = 1 } { print }' \
    "$here/spots/$1_qsjh2h_spr2.txt"
  printf 'set_threads %d\nset_simd_level %d\nenable_avx512 %d\n' "$3" "$4" "$5"
}

# run NAME: runs the program on NAME.in, leaves NAME.out and NAME.mem (KiB)
run() {
  local name=$1
  if ((have_time)); then
    /usr/bin/time -f %M -o "$work/$name.mem" "$prog" --verbose --compactmsg <"$work/$name.in" >"$work/$name.out" 2>&1
  else
    "$prog" --verbose --compactmsg <"$work/$name.in" >"$work/$name.out" 2>&1
    grep -o 'peak working set [0-9]*' "$work/$name.out" | tail -1 | awk '{ print $4 * 1024 }' >"$work/$name.mem"
  fi
}

# after FILE MARK: the line that follows the first "MARK" line
after() { awk -v m="$2" 'found { print; exit } $0 == m { found = 1 }' "$1"; }

# elapsed_ms FILE: milliseconds between the solver_time lines after @t0 and @t1
elapsed_ms() {
  awk -v a="$(after "$1" @t0)" -v b="$(after "$1" @t1)" \
    'BEGIN { if (a == "" || b == "") print "-"; else printf "%.3f", (b - a) * 1000 }'
}

timed_go() { printf 'echo @t0\nsolver_time\ngo %s\nwait_for_solver\necho @t1\nsolver_time\n' "$1"; }

script_acc='set_accuracy 0.005 fraction
set_info_freq 5'
script_steps='set_info_freq 1000000000
calc_results'
script_tail='calc_results
echo @iterations
echo $solver_iterations'

echo "program: $prog"
echo "command line: $prog --verbose --compactmsg < SCRIPT"
echo "peak memory from: $( ((have_time)) && echo '/usr/bin/time -f %M' || echo 'verbose peak working set line')"
echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
echo "spot scripts: $here/spots, then: set_threads T; set_simd_level S; enable_avx512 A"
echo "  accuracy run: $({ echo "$script_acc"; timed_go '300 seconds'; } | paste -sd';' | sed 's/;/; /g')"
echo "  step run:     $({ echo "$script_steps"; timed_go 'N steps'; } | paste -sd';' | sed 's/;/; /g')  (N: river ${steps[river]}, turn ${steps[turn]}, flop ${steps[flop]})"
echo "  probe:        set_accuracy 0.005 fraction; then go K steps; wait_for_solver; calc_results  (K: river ${probe_chunk[river]}, turn ${probe_chunk[turn]})"
echo

declare -A stop_it acc_ms first_it solve_ms ips peak

if ((levels)); then
  level_words=(none low medium high max fast)
  format='%-22s %5s %-6s | %-9s %11s | %8s %8s %8s\n'
  printf "$format" spot level "" "stop it" "go->stopped" "peak" "estimate" "peak/"
  printf "$format" "" "" "" "" "s" "MiB" "MB" "estimate"
  declare -A estimate
  for spot in flop_qsjh2h_spr2 flop_qsjh2h_3bet_deep; do
    for level in 0 1 2 3 4 5; do
      key="$spot.$level"
      echo "running: $spot at level $level" >&2
      {
        awk -v level="$level" '$1 == "build_tree" && !done { print "set_compression " level; done = 1 } { print }' \
          "$here/spots/$spot.txt"
        printf 'set_threads 2\nestimate_schematic_tree\n'
        echo "$script_acc"
        timed_go '900 seconds'
        echo "$script_tail"
      } >"$work/$key.in"
      run "$key"
      out=$work/$key.out
      stopline=$(grep -m1 '^SOLVER: stopped' "$out" || echo none)
      case $stopline in
        *"required accuracy reached"*) why=acc ;;
        *requested*) why=cap ;;
        *"timeout reached"*) why=time ;;
        *) why="?" ;;
      esac
      estimate[$key]=$(grep -m1 -o 'estimated tree size: [0-9]*' "$out" | awk '{ print $4 }')
      peak[$key]=$(awk -v k="$(tail -1 "$work/$key.mem")" 'BEGIN { printf "%.1f", k / 1024 }')
      printf "$format" "$spot" "$level" "${level_words[$level]}" "$(after "$out" @iterations) $why" \
        "$(awk -v m="$(elapsed_ms "$out")" 'BEGIN { printf "%.2f", m / 1000 }')" "${peak[$key]}" "${estimate[$key]}" \
        "$(awk -v p="${peak[$key]}" -v e="${estimate[$key]}" 'BEGIN { if (e + 0 > 0) printf "%.2f", p * 1.048576 / e; else print "-" }')"
    done
  done
  echo
  echo "measured peak over level 0's, beside the estimate's ratio (two-suit flop):"
  table=(1.0 0.53 0.39 0.33 0.25 0.68)
  for spot in flop_qsjh2h_spr2 flop_qsjh2h_3bet_deep; do
    line="  $spot:"
    for level in 0 1 2 3 4 5; do
      line+=$(awk -v p="${peak[$spot.$level]}" -v b="${peak[$spot.0]}" -v r="${table[$level]}" -v l="$level" \
        'BEGIN { printf "  %d: %.2f (%.2f)", l, p / b, r }')
    done
    echo "$line"
  done
  echo "load average after:  $(cut -d' ' -f1-3 /proc/loadavg)"
  exit 0
fi
for config in "${configs[@]}"; do
  read -r spot threads simd avx comp <<<"$config"
  key="$spot.$threads.$simd.$avx.$comp"
  echo "running: $spot, $threads threads, SIMD $simd, AVX-512 $avx, compression $comp" >&2

  { prefix "$spot" "$comp" "$threads" "$simd" "$avx"; echo "$script_acc"; timed_go '300 seconds'; echo "$script_tail"; } >"$work/$key.acc.in"
  run "$key.acc"
  out=$work/$key.acc.out
  stopline=$(grep -m1 '^SOLVER: stopped' "$out" || echo none)
  case $stopline in
    *"required accuracy reached"*) why=acc ;;
    *requested*) why=cap ;;
    *"timeout reached"*) why=time ;;
    *) why="?" ;;
  esac
  stop_it[$key]="$(after "$out" @iterations) $why"
  acc_ms[$key]=$(elapsed_ms "$out")
  peak[$key]=$(awk -v k="$(tail -1 "$work/$key.acc.mem")" 'BEGIN { printf "%.1f", k / 1024 }')

  n=${steps[$spot]}
  { prefix "$spot" "$comp" "$threads" "$simd" "$avx"; echo "$script_steps"; timed_go "$n steps"; echo "$script_tail"; } >"$work/$key.steps.in"
  run "$key.steps"
  done_steps=$(after "$work/$key.steps.out" @iterations)
  step_ms=$(elapsed_ms "$work/$key.steps.out")
  ips[$key]=$(awk -v n="$done_steps" -v t="$step_ms" 'BEGIN { if (t + 0 > 0) printf "%.1f", n * 1000 / t; else print "-" }')

  if [[ -n ${probe_chunk[$spot]:-} ]]; then
    chunk=${probe_chunk[$spot]}
    {
      prefix "$spot" "$comp" "$threads" "$simd" "$avx"
      printf 'set_accuracy 0.005 fraction\nset_info_freq 1000000000\n'
      for ((i = 0; i < probe_limit[$spot] / chunk; i++)); do
        printf 'go %d steps\nwait_for_solver\ncalc_results\necho @probe\necho $solver_iterations\necho $solver_exploitability\n' "$chunk"
      done
    } >"$work/$key.probe.in"
    run "$key.probe"
    # The verbose reply of set_accuracy gives the target in chips.
    first=$(awk '/^\[accuracy / && !target { target = $2 + 0 }
                 $0 == "@probe" { getline it; getline e; if (e + 0 <= target) { print it; exit } }' "$work/$key.probe.out")
    if [[ -n $first ]]; then
      first_it[$key]=$first
      { prefix "$spot" "$comp" "$threads" "$simd" "$avx"; echo "$script_steps"; timed_go "$first steps"; } >"$work/$key.first.in"
      run "$key.first"
      solve_ms[$key]=$(elapsed_ms "$work/$key.first.out")
    else
      first_it[$key]=">${probe_limit[$spot]}"
      solve_ms[$key]="-"
    fi
  elif [[ $why == acc ]]; then
    first_it[$key]=${stop_it[$key]% *}
    solve_ms[$key]=$(awk -v n="${first_it[$key]}" -v m="$step_ms" -v s="$done_steps" \
      'BEGIN { if (s + 0 > 0) printf "~%.3f", n * m / s; else print "-" }')
  else
    first_it[$key]="-"
    solve_ms[$key]="-"
  fi
done

# The flop at 2 threads in the default configuration once more, with the
# default measurement period (25 iterations) instead of 5: the figure a
# user sees who only sets the accuracy.
if ((!full)); then
  key=flop.2.8.0.5.default
  echo "running: flop, 2 threads, default measurement period" >&2
  { prefix flop 5 2 8 0; echo 'set_accuracy 0.005 fraction'; timed_go '300 seconds'; echo "$script_tail"; } >"$work/$key.acc.in"
  run "$key.acc"
  default_line="$(after "$work/$key.acc.out" @iterations) iterations, $(elapsed_ms "$work/$key.acc.out") ms go->stopped"
fi

# ratio KEY BASE: it/s of KEY over it/s of BASE, or "-"
ratio() {
  awk -v a="${ips[$1]:-}" -v b="${ips[$2]:-}" 'BEGIN { if (a + 0 > 0 && b + 0 > 0) printf "%.2f", a / b; else print "-" }'
}

echo "load average after:  $(cut -d' ' -f1-3 /proc/loadavg)"
echo
format='%-5s %3s %4s %3s %4s | %-9s %13s | %10s %12s | %9s %8s %6s %8s | %7s\n'
printf "$format" spot thr simd avx comp "stop it" "go->stopped" "1st acc it" "solver" "step" "" "" "peak" "x"
printf "$format" "" "" "" 512 "" "" "ms" "" "ms" "it/s" "ms/it" "/floor" "MB" "SIMD1"
for config in "${configs[@]}"; do
  read -r spot threads simd avx comp <<<"$config"
  key="$spot.$threads.$simd.$avx.$comp"
  x="-"
  if [[ $spot == flop ]]; then
    base="$spot.$threads.1.$avx.$comp"
    [[ -n ${ips[$base]:-} ]] || base="$spot.$threads.1.0.$comp"
    x=$(ratio "$key" "$base")
  fi
  per_it=$(awk -v r="${ips[$key]}" 'BEGIN { if (r + 0 > 0) printf "%.2f", 1000 / r; else print "-" }')
  floor="-"
  [[ $spot == flop && $threads == 2 ]] && floor=$(awk -v m="$per_it" 'BEGIN { if (m + 0 > 0) printf "%.2f", m / 27.5; else print "-" }')
  printf "$format" "$spot" "$threads" "$simd" "$avx" "$comp" "${stop_it[$key]}" "${acc_ms[$key]}" \
    "${first_it[$key]}" "${solve_ms[$key]}" "${ips[$key]}" "$per_it" "$floor" "${peak[$key]}" "$x"
done
echo
[[ -n ${default_line:-} ]] && echo "flop, 2 threads, SIMD 8, fast, default measurement period, to 0.5%: $default_line"
echo "2-thread / 1-thread step it/s (SIMD 8, AVX-512 off, fast):"
for spot in river turn flop; do
  echo "  $spot: $(ratio "$spot.2.8.0.5" "$spot.1.8.0.5")"
done
