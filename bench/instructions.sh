#!/usr/bin/env bash
# Instructions per message of the message encoder beside its peers, counted with
# valgrind's callgrind (the same count whatever the machine's load):
#   1. encode, decode and encode+decode of the peer harness's call Calc.add(a, b, s, v)
#      for every codec of the harness (its cg.sh, with this tree's bench/anchors codec);
#   2. instructions per list element (encode+decode), zubjex and Thrift: a list of 1,010
#      ints against one of 10, divided by 1,000;
#   3. copies per byte of a 1 MiB string parameter: the bytes that memcpy, memmove and
#      memset touch in writeCall and in readCall, divided by the string's size
#      (bench_string_copies, built from this tree).
#
#   bench/instructions.sh            (from anywhere; needs valgrind and the harness's packages)
#
# BUILD: the harness's build folder (default build-instructions/anchors in this tree);
# TREE_BUILD: this tree's build folder for bench_string_copies (default
# build-instructions/tree); N: messages per count (2000).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
anchors=${ANCHORS:-$root/../shared/bench-anchors}
BUILD=${BUILD:-$root/build-instructions/anchors}
TREE_BUILD=${TREE_BUILD:-$root/build-instructions/tree}
N=${N:-2000}
mkdir -p "$BUILD" "$TREE_BUILD"

echo "== instructions per message (harness payload, 196 bytes for zubjex)"
BUILD=$BUILD N=$N CMAKE_ARGS="-DANCHORS_TEAM_DIR=$root/bench/anchors" "$anchors/cg.sh"

# instructions CODEC STRING_BYTES INTS -> instructions per encode+decode
instructions() {
  local f
  f=$(mktemp)
  valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$f" \
    "$BUILD/scale_driver" cg "$1" "$2" "$3" "$N" >/dev/null 2>&1
  local total
  total=$(grep -E '^totals:' "$f" | awk '{print $2}')
  rm -f "$f"
  echo $((total / N))
}

echo
echo "== instructions per list element (encode+decode; 1,010 ints against 10)"
cmake --build "$BUILD" -j 2 --target scale_driver >/dev/null
printf '%-10s %12s %12s %12s\n' codec '10 ints' '1010 ints' 'per element'
for codec in thrift zubjex; do
  small=$(instructions "$codec" 0 10)
  large=$(instructions "$codec" 0 1010)
  printf '%-10s %12s %12s %12s\n' "$codec" "$small" "$large" \
    "$(python3 -c "print(f'{($large - $small) / 1000:.1f}')")"
done

echo
echo "== copies per byte of a 1 MiB string parameter (memory streams)"
# A folder that is already configured is used as it is (benchmarks must be on).
if [ ! -f "$TREE_BUILD/CMakeCache.txt" ]; then
  cmake -S "$root" -B "$TREE_BUILD" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
    -DZUBJEX_BUILD_EXAMPLES=OFF -DZUBJEX_BUILD_BENCH=ON >/dev/null
fi
cmake --build "$TREE_BUILD" -j 2 --target bench_string_copies >/dev/null
"$TREE_BUILD/bench/bench_string_copies"
