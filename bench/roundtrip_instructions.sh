#!/usr/bin/env bash
# User-space instructions and heap allocations of one round trip over loopback TCP, client
# and server in one process, ours (zubJexClient, the TCP transport and the reference server)
# beside Thrift's (socket, buffered transport, binary protocol, threaded server), with the
# peer harness's payload Calc.add(a, b, s, v). Instruction counts come from callgrind and do
# not move with the machine's load.
#
#   bench/roundtrip_instructions.sh            from the repository's root
#   N=5000 BUILD=build-rt-cg ANCHORS=../shared/bench-anchors bench/roundtrip_instructions.sh
#
# Needs valgrind and the harness's packages (its run.sh installs them).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
ANCHORS=${ANCHORS:-$root/../shared/bench-anchors}
BUILD=${BUILD:-$root/build-rt-cg}
N=${N:-2000}

mkdir -p "$BUILD"
log="$BUILD/roundtrip_instructions.log"
if ! { cmake -S "$ANCHORS" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DANCHORS_WITH_GRPC=OFF \
  -DANCHORS_TEAM_DIR="$root/bench/anchors" &&
  cmake --build "$BUILD" -j 2 --target roundtrip_instructions roundtrip_allocations; } >"$log" 2>&1; then
  tail -30 "$log" >&2
  exit 1
fi

instructions() {  # stack -> instructions per round trip
  local out
  out=$(mktemp)
  valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$out" \
    "$BUILD/team/roundtrip_instructions" "$1" "$N" >/dev/null 2>&1
  local total
  total=$(awk '/^totals:/ {print $2}' "$out")
  rm -f "$out"
  echo $((total / N))
}
allocations() {  # stack -> allocations per round trip
  "$BUILD/team/roundtrip_allocations" "$1" "$N" 2>/dev/null | awk '{print $NF}'
}

printf '%-8s %14s %12s\n' stack instructions allocations
thrift_ir=$(instructions thrift)
printf '%-8s %14s %12s\n' thrift "$thrift_ir" "$(allocations thrift)"
ours_ir=$(instructions zubjex)
printf '%-8s %14s %12s\n' zubjex "$ours_ir" "$(allocations zubjex)"
awk -v a="$ours_ir" -v b="$thrift_ir" 'BEGIN {printf "zubjex / thrift instructions: %.2f\n", a / b}'
