#!/bin/sh
# jexcall against the reference server: a result, a fault, a one-way call, a usage error,
# an unreachable server, --json, values of described types, and the request it sends
# decoded by jexdump. Usage: jexcall_test.sh JEXCALL JEXDUMP CALC_SERVER CALC_JEX
set -u
jexcall=$1 jexdump=$2 server=$3 calc_jex=$4
work=$(mktemp -d)
"$server" >"$work/server.out" 2>&1 &
server_pid=$!
trap 'kill -TERM $server_pid 2>/dev/null; wait $server_pid 2>/dev/null; rm -rf "$work"' EXIT
address=""
for _ in $(seq 100); do # the server prints its address once it listens; 10 s at most
  address=$(grep -o -m1 '127\.0\.0\.1:[0-9]\+' "$work/server.out")
  [ -n "$address" ] && break
  sleep 0.1
done
[ -n "$address" ] || { echo "no server address"; cat "$work/server.out"; exit 1; }
failures=0

# expect STATUS PATTERN ARGS...: jexcall exits with STATUS and its output (both streams)
# matches the grep pattern.
expect() {
  want=$1 pattern=$2
  shift 2
  out=$("$jexcall" "$@" 2>&1)
  got=$?
  if [ "$got" != "$want" ] || ! printf '%s\n' "$out" | grep -q -- "$pattern"; then
    echo "FAILED: jexcall $*: status $got (wanted $want), output:"
    printf '%s\n' "$out"
    failures=$((failures + 1))
  fi
}

expect 0 '^5$' "$address" ICalc.add a=2 b=3
expect 0 '^"root"$' --root calc "$address" ICalc.getName
expect 0 '^$' --oneway "$address" ICalc.log message='"from jexcall"'
expect 0 '^{"type": "ICalc", "proxy": "[^"]*", "server": "'"$address"'"}$' \
  --json "$address" ICalc.createChild name=kid
expect 1 'fault: CalcError{message="division by zero"}' \
  --idl "$calc_jex" "$address" ICalc.divide a=1 b=0
expect 1 'fault: .*unknown method power of ICalc' "$address" ICalc.power a=1
expect 3 'an object of type CalcError, which no description' "$address" ICalc.divide a=1 b=0
expect 2 'b=x: column 3: expected int, got a string' --idl "$calc_jex" "$address" ICalc.add a=1 b=x
expect 2 'ICalc.add needs the parameter b' --idl "$calc_jex" "$address" ICalc.add a=1
expect 2 'a=\[1: column 5: expected' "$address" ICalc.add 'a=[1'
expect 2 'usage: jexcall' "$address"
expect 3 'cannot connect' --connect-timeout-ms 2000 127.0.0.1:1 ICalc.add a=1 b=2

# The request as sent, decoded with the description's types.
expect 0 '^3$' --dump-request "$work/request" --root calc "$address" ICalc.add a=1 b=2
"$jexdump" --idl "$calc_jex" "$work/request" >"$work/dump" 2>&1
if ! grep -q 'this = <ICalc proxy id="calc" server=none>' "$work/dump" ||
  ! grep -q 'b = 2' "$work/dump"; then
  echo "FAILED: jexdump of the request:"
  cat "$work/dump"
  failures=$((failures + 1))
fi
[ "$failures" = 0 ]
