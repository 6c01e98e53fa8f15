#!/usr/bin/env bash
# Round trip of a tree file through two processes. The first builds and
# solves a spot, dumps it, asks the queries, solves on and asks them again;
# the second loads the file, asks the same queries, solves on the same
# number of steps and asks again. Every reply of the second must equal the
# first's byte for byte: the file holds the whole solver state, and a
# loaded tree goes on from where the saved one stood. Dumped again at once,
# it gives the same bytes.
#
# Case file lines: "@ line" goes to both processes (settings a tree file
# doesn't carry), "! line" to the first after its first solve (locks and
# info lines, which the file must carry), "? query" is asked, "steps N M"
# the steps before the dump and after it, anything else to the first
# process only (the spot). Neither process measures while it solves.
set -u
program=$(realpath "$1")
case_file=$(realpath "$2")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$(dirname "$case_file")"

both=("set_info_freq 1000000") first=() later=() queries=() before=10 after=5
while IFS= read -r line || [ -n "$line" ]; do
  case "$line" in
    "" | "#"*) ;;
    "@ "*) both+=("${line#@ }") ;;
    "? "*) queries+=("${line#? }") ;;
    "! "*) later+=("${line#! }") ;;
    "steps "*) read -r _ before after <<< "$line" ;;
    *) first+=("$line") ;;
  esac
done < "$case_file"

ask() {
  echo "echo ====$1"
  printf '%s\n' "${queries[@]}"
}

{
  echo "set_threads 1"
  printf '%s\n' "${both[@]}" "${first[@]}"
  echo "build_tree"
  echo "go $before steps"
  echo "wait_for_solver"
  printf '%s\n' "${later[@]}"
  echo "dump_tree $scratch/saved.tree"
  ask loaded
  echo "go $after steps"
  echo "wait_for_solver"
  ask continued
  echo "exit"
} > "$scratch/first.in"
{
  echo "set_threads 1"
  printf '%s\n' "${both[@]}"
  echo "load_tree $scratch/saved.tree"
  echo "dump_tree $scratch/again.tree"
  ask loaded
  echo "go $after steps"
  echo "wait_for_solver"
  ask continued
  echo "exit"
} > "$scratch/second.in"

"$program" < "$scratch/first.in" > "$scratch/first.out" 2>&1 || { echo "first process failed"; tail "$scratch/first.out"; exit 1; }
"$program" < "$scratch/second.in" > "$scratch/second.out" 2>&1 || { echo "second process failed"; tail "$scratch/second.out"; exit 1; }
# Only what the queries answered: from the first marker on, without the
# solver's own lines.
replies() { sed -n '/^====loaded/,$p' "$1" | grep -v '^SOLVER'; }
replies "$scratch/first.out" > "$scratch/first.replies"
replies "$scratch/second.out" > "$scratch/second.replies"
grep -q '^ERROR' "$scratch/first.replies" "$scratch/second.replies" && { echo "a query failed:"; grep -h '^ERROR' "$scratch"/*.replies | head; exit 1; }
lines=$(wc -l < "$scratch/first.replies")
[ "$lines" -gt "$((2 * ${#queries[@]}))" ] || { echo "too few replies ($lines)"; cat "$scratch/first.out" | head -40; exit 1; }
# A loaded tree dumped at once is the very file it came from.
cmp -s "$scratch/saved.tree" "$scratch/again.tree" || { echo "the loaded tree dumps to other bytes"; exit 1; }
if ! cmp -s "$scratch/first.replies" "$scratch/second.replies"; then
  echo "replies differ after the load (saved < > loaded):"
  diff "$scratch/first.replies" "$scratch/second.replies" | cut -c1-200 | head -20
  exit 1
fi
