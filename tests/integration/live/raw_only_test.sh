#!/usr/bin/env bash
# Without a database the raw trace alone is kept, whatever is in it.
#   raw_only_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 10 >/dev/null
modem --repeat 10 --speed max
"$veltra" capture --port line --raw raw.bin 2>capture.txt &
ended $! 5 capture.txt
ended $modem 0 modem.err
same trace.bin raw.bin "what was sent and what was received"
! ls ./*.pcapng >/dev/null 2>&1 || fail "a capture was written without a database"

modem --repeat 10 --speed max
"$veltra" capture --port line --raw - >stdout.bin 2>capture.txt &
ended $! 5 capture.txt
ended $modem 0 modem.err
same trace.bin stdout.bin "what was sent and what was received on standard output"
grep -q '^standard output: .* of raw trace$' capture.txt || fail "no word of the raw trace"

rm raw.bin
modem --repeat 1000000
"$veltra" capture --port line --raw raw.bin 2>capture.txt &
running=$!
wait_for_size raw.bin 1000 $running
kill -INT $running
ended $running 0 capture.txt
# Without a terminal a line at the start, and the summary.
[ "$(wc -l <capture.txt)" = 2 ] && grep -q '^raw.bin: .* of raw trace$' capture.txt &&
  grep -qx 'veltra: line: recording; no database, raw trace only; files raw.bin' capture.txt ||
  fail "not just the two lines" "$(cat capture.txt)"
