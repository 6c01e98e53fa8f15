#!/usr/bin/env bash
# Runs one protocol case: CASE.in on the standard input of the program, the
# standard output compared byte for byte with CASE.out, the exit status with
# CASE.status (0 when absent). CASE.args holds command-line arguments, one
# a line; CASE.ulimit the largest virtual memory in KiB. The case runs in a
# scratch directory, so files it writes vanish.
set -u
program=$1
case_path=$2
args=()
if [ -f "$case_path.args" ]; then
  while IFS= read -r arg || [ -n "$arg" ]; do args+=("$arg"); done < "$case_path.args"
fi
expected_status=0
[ -f "$case_path.status" ] && expected_status=$(tr -d '[:space:]' < "$case_path.status")

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp -r "$(dirname "$case_path")/data" "$scratch/data" 2>/dev/null
cd "$scratch"
(
  [ -f "$case_path.ulimit" ] && ulimit -v "$(tr -d '[:space:]' < "$case_path.ulimit")"
  exec "$program" "${args[@]}" < "$case_path.in" > actual.out 2> actual.err
)
status=$?

ok=1
if ! cmp -s actual.out "$case_path.out"; then
  echo "standard output differs (expected < > actual):"
  diff "$case_path.out" actual.out | head -n 40
  ok=0
fi
if [ "$status" != "$expected_status" ]; then
  echo "exit status $status, expected $expected_status"
  ok=0
fi
if [ $ok = 0 ] && [ -s actual.err ]; then
  echo "standard error:"; head -n 20 actual.err
fi
[ $ok = 1 ]
