#!/usr/bin/env bash
# Installs the project into a fresh prefix and builds a host from it twice, once with
# find_package and once with pkg-config, then runs the installed programs from there, and
# builds examples/host against the prefix and runs it against the installed server, and
# calls that server with the installed jexcall and decodes the call with jexdump.
set -euo pipefail
cd "$(dirname "$0")/../.."
prefix=$(mktemp -d)
work=$(mktemp -d)
server_pid=""
cleanup() {
  if [ -n "$server_pid" ]; then
    kill -TERM "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  rm -rf "$prefix" "$work"
}
trap cleanup EXIT

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

echo "check_install: examples/host, generated from examples/calc/calc.jex, calls the installed server"
cmake -S examples/host -B "$work/host" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
ninja -C "$work/host" >/dev/null
# The server runs under timeout, which passes a SIGTERM on and bounds every wait for it.
timeout -k 5 120 "$prefix/bin/zubjex_calc_server" >"$work/server.out" 2>&1 &
server_pid=$!
address=""
for _ in $(seq 100); do # the server prints its address once it listens; 10 s at most
  address=$(grep -o -m1 '127\.0\.0\.1:[0-9]\+' "$work/server.out" || true)
  [ -z "$address" ] || break
  sleep 0.1
done
if [ -z "$address" ]; then
  echo "check_install: zubjex_calc_server printed no address:" >&2
  cat "$work/server.out" >&2
  exit 1
fi
sum=$(timeout 30 "$work/host/calc_host" "$address" || true)
if [ "$sum" != 5 ]; then
  echo "check_install: calc_host printed '$sum' instead of 5" >&2
  exit 1
fi

echo "check_install: the installed jexcall calls the installed server, jexdump decodes the call"
sum=$(timeout 30 "$prefix/bin/jexcall" --idl examples/calc/calc.jex \
  --dump-request "$work/request" "$address" ICalc.add a=2 b=3 || true)
if [ "$sum" != 5 ]; then
  echo "check_install: jexcall printed '$sum' instead of 5" >&2
  exit 1
fi
dump=$("$prefix/bin/jexdump" --idl examples/calc/calc.jex "$work/request")
if [[ "$dump" != *'call "ICalc:add"'*'returns: int'*'a = 2'*'b = 3'* ]]; then
  echo "check_install: jexdump of jexcall's request:" >&2
  echo "$dump" >&2
  exit 1
fi
status=0
timeout 30 "$prefix/bin/jexcall" --idl examples/calc/calc.jex "$address" ICalc.divide a=1 b=0 \
  2>"$work/fault" || status=$?
if [ "$status" != 1 ] || ! grep -q 'CalcError{message="division by zero"}' "$work/fault"; then
  echo "check_install: jexcall's fault: status $status" >&2
  cat "$work/fault" >&2
  exit 1
fi

kill -TERM "$server_pid"
status=0
wait "$server_pid" || status=$?
server_pid=""
if [ "$status" != 0 ]; then
  echo "check_install: zubjex_calc_server exited with $status after SIGTERM" >&2
  exit 1
fi
# With the server gone the call fails, and the host prints the error and exits with 1.
status=0
error=$(timeout 30 "$work/host/calc_host" "$address" 2>&1 >/dev/null) || status=$?
if [ "$status" != 1 ] || [[ "$error" != *"cannot connect"*"$address"* ]]; then
  echo "check_install: calc_host without a server: status $status, '$error'" >&2
  exit 1
fi
echo "check_install: passed"
