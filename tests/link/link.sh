#!/usr/bin/env bash
# The TCP link between two processes on the loopback, end to end:
#   1. a client drives a whole solve and its queries through a server, and
#      every reply equals a local run's; tree files travel both ways whole
#      (dump_tree back to the client, load_tree up to the server), with the
#      empty replies of --suppressok behind them;
#   2. a client that leaves mid-solve: the server keeps its tree and its
#      solve, and the next client stops it and reads the results;
#   3. broken frames from a raw socket (unknown kind, a length of 2^62,
#      header or body cut short, an upload cut short): each costs only its
#      connection, and the next client finds the tree;
#   4. a server killed under a waiting request: the client answers an error
#      line and goes on with its input; connect and disconnect refusals;
#   5. --terminateonerror on the client ends it at the server's error line.
# Every process runs under a timeout, servers take a free port (--port 0)
# and write it to a file, so parallel runs never collide.
set -u
program=$(realpath "$1")
source_dir=$(realpath "$2")
river="$source_dir/bench/spots/river_qsjh2h_spr2.txt"
turn="$source_dir/tests/fuzz/turn_spot.txt"
scratch=$(mktemp -d)
servers=() watchdogs=()
trap 'kill "${watchdogs[@]}" 2> /dev/null; kill -9 "${servers[@]}" 2> /dev/null; rm -rf "$scratch"' EXIT
cd "$scratch"
failed=0
fail() {
  echo "FAIL: $*"
  failed=1
}

# start_server DIR ARGS...: sets server_pid and port.
start_server() {
  local dir=$1
  shift
  mkdir -p "$dir"
  (cd "$dir" && exec "$program" --server --port 0 --port-file port "$@" > out 2> err) &
  server_pid=$!
  servers+=("$server_pid")
  # A watchdog, for a run that ends without its trap; the trap ends it.
  (sleep 120 && kill -9 "$server_pid") > /dev/null 2>&1 &
  watchdogs+=($!)
  for _ in $(seq 200); do
    [ -s "$dir/port" ] && break
    sleep 0.05
  done
  port=$(cat "$dir/port" 2> /dev/null) || { fail "server in $dir wrote no port"; exit 1; }
}

client() { timeout 60 "$program" "$@"; }

# Sends raw bytes (printf format) on a fresh connection and prints what
# comes back until the server closes it.
raw() {
  exec 3<> "/dev/tcp/127.0.0.1/$port" || return 1
  printf "$1" >&3
  timeout 10 cat <&3 2> /dev/null
  exec 3<&-
}

# Sends raw bytes and closes the connection.
raw_cut() {
  exec 3<> "/dev/tcp/127.0.0.1/$port" || return 1
  printf "$1" >&3
  exec 3<&-
}

# --- 1. a whole solve, remote and local ---------------------------------
queries=("calc_results" "show_strategy r:0" "show_strategy r:0:c" "calc_ev OOP r:0" "show_range IP r:0:c"
         "calc_eq_node IP r:0" "get_value solver_iterations" "show_tree_info")
session() {
  printf '%s\n' "set_threads 1" "set_info_freq 1000000" "load_script $river" "add_info_line #kept" \
    "go 30 steps" "wait_for_solver" "${queries[@]}" "dump_tree $scratch/$1.tree" \
    "load_tree $scratch/local.tree" "${queries[@]}" "dump_tree $scratch/$1_again.tree"
}
session local | client --suppressok > local.out
start_server s1 --suppressok --exit
{ echo "connect 127.0.0.1 $port"; session remote; echo disconnect; } | client --suppressok > remote.out
wait "$server_pid" || fail "solve: the server ended with status $?"
grep -q '^SOLVER: stopped' remote.out || fail "solve: no SOLVER line came through the link"
grep -v '^SOLVER:' local.out > local.replies
grep -v '^SOLVER:' remote.out > remote.replies
cmp -s local.replies remote.replies || { fail "solve: replies differ"; diff local.replies remote.replies | head -20; }
grep -q '^ERROR' remote.out && fail "solve: an error line: $(grep -m1 '^ERROR' remote.out)"
[ -s local.tree ] || fail "solve: no local tree file"
cmp -s local.tree remote.tree || fail "solve: the tree dumped through the link differs from the local one"
cmp -s local.tree remote_again.tree || fail "solve: the tree uploaded and dumped again differs"
ls s1 | grep -q kestrune_temp && fail "solve: the server left its temporary file"

# --- 2. a client leaves mid-solve ----------------------------------------
start_server s2
printf '%s\n' "connect 127.0.0.1 $port" "set_threads 1" "load_script $turn" "go 1000000 steps" "sleep 300" \
  | client > leaving.out
printf '%s\n' "connect 127.0.0.1 $port" "is_tree_present" "stop" "wait_for_solver" "calc_results" \
  | client > next.out
grep -q '^go ok!' leaving.out || fail "mid-solve: the first client's go was not answered"
grep -q '^true' next.out || fail "mid-solve: the next client finds no tree"
grep -q '^Exploitable for: ' next.out || fail "mid-solve: the next client got no results"

# --- 3. broken frames ----------------------------------------------------
check_alive() {
  printf '%s\n' "connect 127.0.0.1 $port" "is_tree_present" | client > alive.out
  grep -q '^true' alive.out || fail "frames: after $1 the server lost its tree or its life"
}
raw '\007\005\0\0\0\0\0\0\0hello' > kind.out
grep -q 'ERROR: unknown frame kind' kind.out || fail "frames: no error line for an unknown kind"
check_alive "an unknown kind"
raw '\0\0\0\0\0\0\0\0\100' > huge.out
grep -q 'ERROR: command line too long' huge.out || fail "frames: no error line for a length of 2^62"
check_alive "a length of 2^62"
raw_cut '\004\0\0\0\0\0\0\0\100only ten b'
check_alive "an upload of 2^62 bytes cut short"
ls s2 | grep -q kestrune_temp && fail "frames: an upload cut short left a file"
raw_cut '\0\005\0'
check_alive "a header cut short"
raw_cut '\0\144\0\0\0\0\0\0\0is_re'
check_alive "a body cut short"
kill "$server_pid"

# --- 4. the server dies under a waiting request --------------------------
start_server s3
printf '%s\n' "connect 127.0.0.1 $port" "sleep 20000" "is_ready" "connect 127.0.0.1 1" "is_ready" "disconnect" \
  "is_ready" "disconnect" "connect 127.0.0.1 0" "connect a 1 2" > dying.in
client < dying.in > dying.out &
client_pid=$!
sleep 1
kill -9 "$server_pid"; wait "$server_pid" 2> /dev/null
wait "$client_pid"
status=$?
[ "$status" = 0 ] || fail "server death: the client ended with status $status"
# A connect that fails (nothing listens on port 1) keeps the dead link.
expected='ERROR: sleep connection to the server lost
ERROR: is_ready connection to the server lost
ERROR: connect can'"'"'t connect to 127.0.0.1:1 (Connection refused)
ERROR: is_ready connection to the server lost
disconnect ok!
is_ready ok!
ERROR: disconnect not connected
ERROR: connect incorrect or missing argument
ERROR: connect incorrect or missing argument'
[ "$(tail -n 9 dying.out)" = "$expected" ] || { fail "server death: the client said"; cat dying.out; }

# --- 5. --terminateonerror ends the client at the server's error line ----
start_server s4 --exit
printf '%s\n' "connect 127.0.0.1 $port" "set_threads" "is_ready" | client --terminateonerror > terminate.out
status=$?
[ "$status" = 1 ] || fail "terminate: the client ended with status $status"
[ "$(tail -n 1 terminate.out)" = "ERROR: set_threads incorrect or missing argument" ] ||
  { fail "terminate: the client said"; cat terminate.out; }

[ $failed = 0 ] && echo "link: all cases passed"
[ $failed = 0 ]
