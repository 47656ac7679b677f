# shellcheck shell=bash
# line.sh - what the scripts here share; to be sourced. A virtual modem on a line.
. "$(dirname "$0")/../checks.sh" || exit 1 # or the rest would work in the caller's directory
set -m # or what runs in the background would ignore Ctrl-C

# Every program that was begun here ends with the script.
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "${work:?}" "${work:?}".*' EXIT

# modem OPTION...: plays $session to the line named "line" in the background; $modem
# is its process.
modem() {
  rm -f line
  "$veltra" simulate "$session" --pty line "$@" >modem.txt 2>modem.err &
  modem=$!
  until [ -e line ] && [ -s modem.txt ]; do
    kill -0 $modem 2>/dev/null || fail "the modem does not run" "$(cat modem.err)"
    sleep 0.005
  done
}

# ended PROCESS CODE LOG: waits for a program to end with the code.
ended() {
  local code=0
  wait "$1" || code=$?
  [ "$code" = "$2" ] || fail "exit code $code instead of $2" "$(cat "$3")"
}

# wait_for_size FILE SIZE PROCESS
wait_for_size() {
  until [ -e "$1" ] && [ "$(stat -c %s "$1")" -ge "$2" ]; do
    kill -0 "$3" 2>/dev/null || fail "the program ended before $1 had $2 bytes"
    sleep 0.005
  done
}

# packets FILE.jsonl: what was decoded, without the numbers and offsets that depend
# on how the bytes were cut.
packets() { grep -v '"layer":"modem_trace"' "$1" | sed -E 's/^\{"sequence":[0-9]+,//; s/,"metadata":.*//'; }
