#!/usr/bin/env bash
# Several ports in one process: each has its own files, and the failure of one costs no other.
#   many_ports_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/../live/line.sh"
veltra=$1 session=$2
"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 20 >/dev/null

# modem_on LINE OPTION...: plays to the line; $modem is its process.
modem_on() {
  local line=$1
  shift
  rm -f "$line"
  "$veltra" simulate "$session" --pty "$line" "$@" >/dev/null 2>"$line.err" &
  modem=$!
  until [ -e "$line" ]; do
    kill -0 $modem 2>/dev/null || fail "the modem does not run" "$(cat "$line.err")"
    sleep 0.005
  done
}

# Two modems that end, and a port that is not there.
modem_on a --repeat 20 --speed max
modem_on b --repeat 20 --speed max
"$veltra" capture --port a --port none --port b --database database.json --raw m.trace -f jsonl \
  -o m.jsonl --status-file status.json --metrics metrics.prom --summary all.jsonl 2>capture.txt &
ended $! 5 capture.txt
grep -q '^veltra: there is no port none;' capture.txt || fail "no word of the missing port" "$(cat capture.txt)"
for port in a b; do
  same trace.bin "m-$port.trace" "what was sent and the trace of $port"
  grep -q "^veltra: $port: recording; database database.json; files m-$port.trace, m-$port.jsonl" capture.txt ||
    fail "no line at the start of $port" "$(cat capture.txt)"
  grep -q "^m-$port.jsonl: [0-9]* packets" capture.txt || fail "no summary of $port" "$(cat capture.txt)"
  grep -q "\"port\":\"$port\",.*\"state\":\"ended\"" "status-$port.json" || fail "$(cat "status-$port.json")"
  grep -q "received_bytes_total{port=\"$port\"} $(stat -c %s trace.bin)" "metrics-$port.prom" ||
    fail "$(cat "metrics-$port.prom")"
  packets "m-$port.jsonl" >"$port.txt"
done
same a.txt b.txt "the packets of the two"
grep -q '^{"input":"none","output":"","exit_code":3,"reason":"there is no port none;' all.jsonl ||
  fail "no summary of the missing port" "$(cat all.jsonl)"
for port in a b; do
  grep -q "^{\"input\":\"$port\",\"output\":\"m-$port.jsonl\",\"exit_code\":5,.*\"trace_bytes\":$(stat -c %s trace.bin)," \
    all.jsonl || fail "no summary of $port" "$(cat all.jsonl)"
done
[ "$(wc -l <all.jsonl)" = 3 ] || fail "not one line for each port" "$(cat all.jsonl)"
[ ! -e m-none.trace ] || fail "a file of the missing port"

# One that goes and comes back does not disturb the other; Ctrl-C ends both.
modem_on a --repeat 1000000
lasting=$modem
modem_on b --repeat 20 --speed max
"$veltra" capture --port a --port b --raw r.trace --reconnect 2>capture.txt &
running=$!
until grep -q 'note: b was lost' capture.txt; do
  kill -0 $running 2>/dev/null || fail "the capture ended" "$(cat capture.txt)"
  sleep 0.005
done
wait $modem || true
modem_on b --repeat 20 --speed max
until [ "$(grep -c 'note: b was lost' capture.txt)" = 2 ]; do
  kill -0 $running 2>/dev/null || fail "the capture ended" "$(cat capture.txt)"
  sleep 0.005
done
kill -INT $running
ended $running 0 capture.txt
kill $lasting 2>/dev/null || true # or it has noticed by itself
for piece in r-b_*.trace; do same trace.bin "$piece" "what was sent and $piece"; done
[ "$(ls r-b_*.trace | wc -l)" = 2 ] || fail "not two pieces of b" "$(ls)"
[ "$(ls r-a_*.trace | wc -l)" = 1 ] || fail "not one piece of a" "$(ls)"
"$veltra" simulate "$session" --trace many.bin --database unused.json --repeat 400 >/dev/null
head -c "$(stat -c %s r-a_*.trace)" many.bin | cmp -s - r-a_*.trace ||
  fail "the other port's trace is not what was sent"

# On a terminal a row for each.
if command -v script >/dev/null; then
  modem_on a --repeat 2 --baud-rate 100000
  modem_on b --repeat 2 --baud-rate 100000
  script -q -e -c "$(printf '%q ' "$veltra" capture --port a --port b --raw t.trace)" typescript \
    >/dev/null 2>&1 </dev/null || true
  for port in a b; do
    grep -aqE "\[K$port  00:00:0[0-9]  [0-9.]+ k?B" typescript || fail "no row of $port" "$(cat -v typescript)"
    grep -aq "\[Kt-$port.trace: .* of raw trace" typescript ||
      fail "a row is in the way of the summary" "$(cat -v typescript)"
  done
fi

refused 2 'would have the same names' "$veltra" capture --port a --port a --raw
refused 2 'each port has files of its own' "$veltra" capture --port a --port b --raw -
refused 2 'leave it out' "$veltra" capture --port a --port b --wireshark --database database.json
refused 2 '--port excludes --all' "$veltra" capture --port a --all --raw
refused 2 '--port is required' "$veltra" capture --raw
