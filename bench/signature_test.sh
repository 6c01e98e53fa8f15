#!/usr/bin/env bash
# The signature is only worth recording if a run prints exactly one line of
# the agreed form (the program fails on any error reply, so this also proves
# that every query of its walk still answers) and if two runs agree: a
# one-thread solve that stopped being repeatable would make every later
# comparison meaningless.
# usage: bench/signature_test.sh path/to/signature
set -euo pipefail
first=$("$1" 2>/dev/null)
[[ $first =~ ^Signature:\ [0-9]+$ ]] || { echo "unexpected output: $first" >&2; exit 1; }
second=$("$1" 2>/dev/null)
[[ $first == "$second" ]] || { echo "two runs differ: $first, then $second" >&2; exit 1; }
