#!/usr/bin/env bash
# A forgotten tree through two processes. The first solves a small flop
# spot, dumps it whole, forgets its rivers and dumps it again; the second
# loads the forgotten file and asks for a river board: its strategy, EVs
# and equities come back, solved on demand, and explo_partial of the board
# is within the river accuracy that was set. The forgotten file must be a
# small part of the whole one.
set -u
program=$(realpath "$1")
data=$(realpath "$(dirname "$0")/../protocol/data")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
river=r:0:c:c:8d:c:c:3s
fail() { echo "$1"; cat "$scratch"/*.out | grep -v '^set_range' | cut -c1-160 | tail -30; exit 1; }

{
  echo "set_threads 1"
  echo "load_script $data/tree_small_ranges.txt"
  echo "set_board Qs Jh 2h"
  echo "set_pot 0 0 100"
  echo "clear_lines"
  for line in "0 0 0 0 0 0" "0 0 0 0 0 50 50" "0 0 0 50 50 50 50" "0 0 50 50 50 50" "50 50 50 50 50 50"; do
    echo "add_line $line"
  done
  echo "build_tree"
  echo "go 100 steps"
  echo "wait_for_solver"
  echo "dump_tree $scratch/whole.tree"
  echo "forget rivers"
  echo "dump_tree $scratch/forgotten.tree"
} | "$program" --suppressok > "$scratch/first.out" 2>&1 || fail "the first process failed"

# 0.002 of the pot of 100: a fifth of a chip.
{
  echo "load_tree $scratch/forgotten.tree"
  echo "show_node r"
  echo "set_recalc_accuracy 0.01 0.01 0.002"
  echo "echo ====strategy"
  echo "show_strategy $river"
  echo "echo ====ev"
  echo "calc_ev IP $river"
  echo "echo ====equity"
  echo "calc_eq_node OOP $river"
  echo "echo ====exploitability"
  echo "explo_partial $river"
} | "$program" --suppressok > "$scratch/second.out" 2>&1 || fail "the second process failed"

grep -q '^ERROR' "$scratch"/*.out && fail "a command failed"
grep -q '^flags: INCOMPLETE_TREE' "$scratch/second.out" || fail "the loaded tree isn't marked incomplete"
whole=$(stat -c %s "$scratch/whole.tree")
forgotten=$(stat -c %s "$scratch/forgotten.tree")
[ $((forgotten * 10)) -lt "$whole" ] || fail "the forgotten file ($forgotten bytes) isn't small beside the whole one ($whole)"
# Each answer: lines of numbers, some of them neither 0 nor nan.
for part in strategy ev equity; do
  sed -n "/^====$part/,/^END/p" "$scratch/second.out" | grep -qE '(^| )(0\.[0-9]*[1-9]|[1-9][0-9]*(\.[0-9]+)?)( |$)' ||
    fail "no numbers in the $part answer"
done
explo=$(sed -n '/^====exploitability/{n;p}' "$scratch/second.out")
awk -v e="$explo" 'BEGIN { exit !(e != "" && e + 0 <= 0.2 + 1e-9 && e + 0 >= -1e-4) }' ||
  fail "explo_partial printed '$explo', not within 0.2"
echo "ok: whole $whole bytes, forgotten $forgotten, river board re-solved to $explo"
