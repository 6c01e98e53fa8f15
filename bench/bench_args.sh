# The arguments of the benchmark scripts, [build dir] [scratch dir], read
# once for all of them. Sourced: sets root, build, scratch and program, and
# stops when the program isn't built.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$root/build/release}
scratch=${2:-$(mktemp -d)}
program=$build/kestrune
[ -x "$program" ] || { echo "build $program first (scripts/build release kestrune)"; exit 1; }
