#!/usr/bin/env bash
# One entry point for building, testing and running zubjexlib on a Debian machine.
# Installs the build tools it needs with apt-get when they are missing.
#
#   ./build.sh demo [args]   build and run the demo (a host calling a server)
#   ./build.sh test          build and run the whole test suite
#   ./build.sh asan          the test suite under AddressSanitizer + UndefinedBehaviorSanitizer
#   ./build.sh tsan          the concurrency and server tests under ThreadSanitizer
#   ./build.sh bench         build and run the benchmarks
#   ./build.sh clang         build with clang++ and run the test suite
#   ./build.sh fuzz [secs]   build the message reader fuzzers with clang, run each for secs (60)
#   ./build.sh install DIR   install headers, libraries and the CMake package into DIR
set -euo pipefail
cd "$(dirname "$0")"

packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev)
jobs=$(nproc 2>/dev/null || echo 2)

ensure_packages() {
  local missing=()
  for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing ${missing[*]} ..."
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

# configure <build dir> [cmake args...]
configure() {
  local dir=$1
  shift
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
}

run_tests() {
  local dir=$1
  shift
  ninja -C "$dir" -j "$jobs"
  ctest --test-dir "$dir" --output-on-failure -j "$jobs" "$@"
}

command=${1:-test}
[ $# -gt 0 ] && shift
ensure_packages
case "$command" in
  demo)
    configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF -DZUBJEX_BUILD_BENCH=OFF
    ninja -C build -j "$jobs" zubjex_demo
    ./build/examples/demo/zubjex_demo "$@"
    ;;
  test)
    configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=ON
    run_tests build
    ;;
  asan)
    configure build-asan -DCMAKE_BUILD_TYPE=Debug -DBUILD_TESTING=ON -DZUBJEX_BUILD_BENCH=OFF \
      -DZUBJEX_SANITIZE=address,undefined
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_tests build-asan
    ;;
  tsan)
    configure build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=ON \
      -DZUBJEX_BUILD_BENCH=OFF -DZUBJEX_SANITIZE=thread
    TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" run_tests build-tsan -R 'Concurrency|TcpServer\.'
    ;;
  bench)
    configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=ON
    ninja -C build -j "$jobs"
    for b in build/bench/bench_*; do "$b" "$@"; done
    ;;
  clang)
    packages=(clang-14)
    ensure_packages
    CXX=clang++-14 configure build-clang -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=ON \
      -DZUBJEX_BUILD_BENCH=OFF
    run_tests build-clang
    ;;
  fuzz)
    packages=(clang-14 libclang-rt-14-dev)
    ensure_packages
    seconds=${1:-60}
    CXX=clang++-14 configure build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF \
      -DZUBJEX_BUILD_BENCH=OFF -DZUBJEX_BUILD_FUZZERS=ON
    readers=(call response object frame)
    ninja -C build-fuzz -j "$jobs" "${readers[@]/%/_fuzzer}"
    mkdir -p build-fuzz/artifacts
    for r in "${readers[@]}"; do
      mkdir -p "build-fuzz/corpus/$r"
      "build-fuzz/fuzz/${r}_fuzzer" -max_total_time="$seconds" -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="build-fuzz/artifacts/$r-" \
        "build-fuzz/corpus/$r" "build-fuzz/fuzz/seeds/$r"
    done
    ;;
  install)
    configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX="${1:?install dir}"
    ninja -C build -j "$jobs" install
    ;;
  *)
    echo "usage: $0 demo|test|asan|tsan|clang|bench|fuzz|install" >&2
    exit 2
    ;;
esac
