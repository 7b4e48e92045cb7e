#!/usr/bin/env bash
# One entry point for building, testing and running zubjexlib on a Debian machine.
# Each command installs, with apt-get, only the packages it needs and that are missing.
set -euo pipefail
cd "$(dirname "$0")"

usage() {
  cat <<'TXT'
usage: ./build.sh COMMAND [args]

  demo [args]    build and run the demo (a host calling a server); also builds
                 zubjex_calc_server, jexcall and jexdump, which the README's demo
                 paragraph uses
  test           build and run the whole test suite
  asan           the test suite under AddressSanitizer + UndefinedBehaviorSanitizer
  tsan           the concurrency and server tests under ThreadSanitizer
  clang          build with clang++ and run the test suite
  bench          build and run the benchmarks
  fuzz [secs]    build the fuzz targets with clang, run each for secs (60)
  docs           the reference documentation with Doxygen, into build-docs/html
  install DIR    install programs, libraries, headers, docs, CMake and pkg-config files into DIR

Every command keeps its own build folder or states all of its options, so one command
never changes what another builds.
TXT
}

case "${1:-test}" in
  -h | --help | help)
    usage
    exit 0
    ;;
  demo | test | asan | tsan | clang | bench | fuzz | docs | install) ;;
  *)
    usage >&2
    exit 2
    ;;
esac

jobs=$(nproc 2>/dev/null || echo 2)
# What every build needs: the compiler and build tools, and the libraries that the
# transports and the reference server are built on.
base_packages=(cmake ninja-build g++ pkg-config libboost-dev libssl-dev libcurl4-openssl-dev)
test_packages=(libgtest-dev libgmock-dev libbenchmark-dev)

log() { echo "build.sh: $*"; }

# ensure_packages NAME... installs the named packages that are missing, one line per step.
ensure_packages() {
  local missing=()
  for p in "$@"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
      log "these packages are missing: ${missing[*]}"
      log "installing them needs root; run as root, install sudo, or install them yourself"
      exit 1
    fi
    sudo="sudo"
  fi
  log "installing ${missing[*]}"
  log "apt-get update"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends \
    "${missing[@]}" 2>&1 | grep --line-buffered -E '^(Get:|Unpacking|Setting up|E:)' |
    sed -u 's/^/build.sh: apt: /' || true
  for p in "${missing[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || {
      log "could not install $p"
      exit 1
    }
  done
}

# configure <build dir> [cmake args...]
configure() {
  local dir=$1
  shift
  log "configuring $dir"
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
}

# run_tests <build dir> [ctest args...]; NINJA_TARGETS, when set, limits what is built.
run_tests() {
  local dir=$1
  shift
  log "building $dir"
  # shellcheck disable=SC2086
  ninja -C "$dir" -j "$jobs" ${NINJA_TARGETS:-}
  ctest --test-dir "$dir" --output-on-failure -j "$jobs" "$@"
}

# The options of the main build folder, stated in full by every command that uses it.
main_build() {
  configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZUBJEX_SANITIZE= "$@"
}

command=${1:-test}
[ $# -gt 0 ] && shift
case "$command" in
  demo)
    ensure_packages "${base_packages[@]}"
    main_build -DBUILD_TESTING=OFF -DZUBJEX_BUILD_BENCH=OFF -DZUBJEX_BUILD_EXAMPLES=ON
    log "building the demo, zubjex_calc_server, jexcall and jexdump"
    ninja -C build -j "$jobs" zubjex_demo zubjex_calc_server jexcall jexdump
    ./build/examples/demo/zubjex_demo "$@"
    ;;
  test)
    ensure_packages "${base_packages[@]}" "${test_packages[@]}"
    main_build -DBUILD_TESTING=ON -DZUBJEX_BUILD_BENCH=ON -DZUBJEX_BUILD_EXAMPLES=ON
    run_tests build
    ;;
  asan)
    ensure_packages "${base_packages[@]}" "${test_packages[@]}"
    configure build-asan -DCMAKE_BUILD_TYPE=Debug -DBUILD_TESTING=ON -DZUBJEX_BUILD_BENCH=OFF \
      -DZUBJEX_SANITIZE=address,undefined
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_tests build-asan
    ;;
  tsan)
    ensure_packages "${base_packages[@]}" "${test_packages[@]}"
    configure build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=ON \
      -DZUBJEX_BUILD_BENCH=OFF -DZUBJEX_SANITIZE=thread
    # Only the test programs that hold concurrency tests are built.
    NINJA_TARGETS="client_tests server_tests transport_tests" \
      TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$PWD/tests/tsan.supp" \
      run_tests build-tsan -R 'Concurrency|TcpServer\.'
    ;;
  bench)
    ensure_packages "${base_packages[@]}" "${test_packages[@]}"
    main_build -DBUILD_TESTING=ON -DZUBJEX_BUILD_BENCH=ON -DZUBJEX_BUILD_EXAMPLES=ON
    log "building build"
    ninja -C build -j "$jobs"
    for b in build/bench/bench_*; do "$b" "$@"; done
    ;;
  clang)
    ensure_packages "${base_packages[@]}" "${test_packages[@]}" clang-14
    CXX=clang++-14 configure build-clang -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=ON \
      -DZUBJEX_BUILD_BENCH=OFF
    run_tests build-clang
    ;;
  fuzz)
    ensure_packages "${base_packages[@]}" clang-14 libclang-rt-14-dev
    seconds=${1:-60}
    CXX=clang++-14 configure build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF \
      -DZUBJEX_BUILD_BENCH=OFF -DZUBJEX_BUILD_FUZZERS=ON
    # The readers of calls, responses, standalone objects and TCP frames; the server's
    # request handling (dispatch); the client's response handling (client).
    targets=(call response object frame dispatch client)
    ninja -C build-fuzz -j "$jobs" "${targets[@]/%/_fuzzer}"
    mkdir -p build-fuzz/artifacts
    for t in "${targets[@]}"; do
      extra=()
      # The client writes a line to standard error for every failed call.
      [ "$t" = client ] && extra+=(-close_fd_mask=2)
      mkdir -p "build-fuzz/corpus/$t"
      log "fuzzing $t for ${seconds}s"
      "build-fuzz/fuzz/${t}_fuzzer" -max_total_time="$seconds" -max_len=1048576 \
        -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="build-fuzz/artifacts/$t-" \
        ${extra[@]+"${extra[@]}"} "build-fuzz/corpus/$t" "build-fuzz/fuzz/seeds/$t"
    done
    ;;
  docs)
    ensure_packages doxygen
    mkdir -p build-docs
    log "running doxygen"
    version=$(sed -n 's/^#define ZUBJEX_VERSION_STRING "\(.*\)"$/\1/p' client/version.h)
    ZUBJEX_VERSION=$version doxygen docs/Doxyfile
    log "reference documentation: build-docs/html/index.html"
    ;;
  install)
    dir=${1:?usage: ./build.sh install DIR}
    ensure_packages "${base_packages[@]}"
    main_build -DBUILD_TESTING=OFF -DZUBJEX_BUILD_BENCH=OFF -DZUBJEX_BUILD_EXAMPLES=ON \
      -DCMAKE_INSTALL_PREFIX="$(realpath -m "$dir")"
    log "installing into $dir"
    ninja -C build -j "$jobs" install >/dev/null
    ;;
esac
