#!/usr/bin/env bash
# Installs the project into a fresh prefix and builds a host from it twice, once with
# find_package and once with pkg-config, then runs the installed programs from there.
set -euo pipefail
cd "$(dirname "$0")/../.."
prefix=$(mktemp -d)
work=$(mktemp -d)
trap 'rm -rf "$prefix" "$work"' EXIT

./build.sh install "$prefix"

echo "check_install: a host built with find_package"
cmake -S tests/install -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
ninja -C "$work/cmake" >/dev/null
"$work/cmake/version_host"

echo "check_install: a host built with pkg-config"
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
# shellcheck disable=SC2046
g++ -o "$work/pkg_host" tests/install/version_host.cpp $(pkg-config --cflags --libs zubjex) \
  -Wl,-rpath,"$prefix/lib"
"$work/pkg_host"

echo "check_install: the installed programs run from the prefix"
"$prefix/bin/zubjex_calc_server" --help >/dev/null 2>&1 || test $? -ne 127
echo '0107 4A455843616C6C 0104 70696E67 0100 01 01 00 0A' | "$prefix/bin/jexdump" --hex | grep -q 'call "ping"'
test -f "$prefix/share/doc/zubjex/LICENSE"
echo "check_install: passed"
