#!/usr/bin/env bash
# The hosts in examples/ are built against an installed tree as their first lines say, and
# decode a trace and a modem on a line. A run that was stopped is not a failure to them; a
# modem that vanishes is.
#   hosts_test.sh BUILD_DIR [SANITIZERS]
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/../live/line.sh"
build=$1 sanitizers=${2:-}
[ -z "$sanitizers" ] || { echo "a plug-in with sanitizers needs a host with them"; exit 77; }
unset LD_LIBRARY_PATH
# As a person calls them: pkg-config does not quote a variable.
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
veltra=$prefix/bin/veltra
pkgconfig=$(dirname "$(find "$prefix" -name kovax-veltra-source.pc)")
export PKG_CONFIG_PATH=$pkgconfig
examples=$(dirname "$(find "$prefix" -name host.c)")

[ "$(pkg-config --modversion kovax-veltra-source)" = "$("$veltra" --version | cut -d ' ' -f 2)" ] ||
  fail "pkg-config has another version"
plugins=$(pkg-config --variable=plugindir kovax-veltra-source)
[ -f "$plugins/kovax-veltra-source.kovax" ] || fail "no plug-in in plugindir $plugins"
read -ra cflags <<<"$(pkg-config --cflags kovax-veltra-source)"
common=(-Wall -Wextra -Werror "-DPLUGIN_DIRECTORY=\"$plugins\"" "${cflags[@]}" -pthread)
cc -std=gnu11 "${common[@]}" "$examples/host.c" -ldl -o host_c
c++ -std=c++17 "${common[@]}" "$examples/host.cpp" -ldl -o host_cpp
export VELTRA_PLUGIN_DIRECTORY=$plugins

# until_open PROCESS: the process has opened the line.
until_open() {
  local device
  device=$(readlink -f line)
  until [ -n "$(find "/proc/$1/fd" -lname "$device" 2>/dev/null)" ]; do
    kill -0 "$1" 2>/dev/null || fail "the host ended before it opened the line" "$(cat err.txt)"
    sleep 0.005
  done
}

example=$examples/attach_session.tsv
messages=$(grep -vc '^#' "$example")
# One message, and one that nobody waits for.
printf '#\n0\tat\t4f4b0d0a\n600000000\tat\t4f4b0d0a\n' >slow.tsv

# check NAME COMMAND...: the host NAME.
check() {
  local name=$1 running count
  shift
  "$veltra" simulate "$example" --trace 'a "trace".bin' --database database.json >/dev/null
  "$@" file 'a "trace".bin' database.json >out.txt 2>err.txt || fail "$name fails" "$(cat err.txt)"
  # host.cpp prints sums.
  count=$(awk '/^[a-z].* [0-9]+$/ && $1 != "modem_trace" { sum += $2; next }
               /^[{0-9]/ { sum += 1 } END { print sum + 0 }' out.txt)
  [ "$count" = "$messages" ] || fail "$name has $count packets" "$(cat out.txt)"

  if "$@" file none.bin database.json >out.txt 2>err.txt; then fail "$name takes no file"; fi
  grep -q 'trace file does not exist' err.txt || fail "$name: no reason" "$(cat err.txt)"

  # Stopped while it waits for the modem.
  session=slow.tsv
  modem --database database.json --speed session
  "$@" port line database.json >out.txt 2>err.txt &
  running=$!
  until_open $running
  kill -INT $running
  ended $running 0 err.txt
  [ ! -s err.txt ] || fail "$name takes a stop for a failure" "$(cat err.txt)"
  # Whether the modem had begun to play by then, and ends by itself, is chance.
  kill -INT "$modem" 2>/dev/null || true
  wait "$modem" || true

  # The modem vanishes at the end of its session.
  session=$example
  modem --database database.json
  "$@" port line database.json >out.txt 2>err.txt &
  running=$!
  ended $running 1 err.txt
  grep -q '^error' err.txt || fail "$name: no reason" "$(cat err.txt)"
  ended $modem 0 modem.err
}

check host.c ./host_c
check host.cpp ./host_cpp
if python3 -c 'import sys; sys.exit(sys.version_info < (3, 8))' 2>/dev/null; then
  check host.py python3 "$examples/host.py"
else
  echo "no Python 3.8: host.py is left out"
fi
