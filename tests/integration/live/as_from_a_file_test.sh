#!/usr/bin/env bash
# What a modem sends along a line is captured whole, and decoded as from a file.
#   as_from_a_file_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 5 >/dev/null
"$veltra" decode trace.bin --database database.json --format jsonl -o file.jsonl 2>summary.txt
"$veltra" decode trace.bin --database database.json -o file.pcapng 2>summary.txt

for speed in line max; do
  for format in jsonl pcapng; do
    rm -f raw.bin
    modem --repeat 5 --speed $speed --database live_database.json
    same database.json live_database.json "the databases"
    # The modem goes when all is read, so the device is lost: what came is kept.
    "$veltra" capture --port line --database live_database.json --raw raw.bin --overwrite \
      --time-base modem --format $format -o live.$format 2>capture.txt &
    ended $! 5 capture.txt
    ended $modem 0 modem.err
    grep -q '^veltra: line was lost (port closed: No such device); what came before is in the' \
      capture.txt || fail "no word of the lost device" "$(cat capture.txt)"
    grep -q "^raw.bin: .* of raw trace$" capture.txt || fail "no word of the raw trace"
    same trace.bin raw.bin "what was sent and what was received at the speed $speed"
  done
  packets file.jsonl >a.txt
  packets live.jsonl >b.txt
  same a.txt b.txt "the packets at the speed $speed"
  same_capture file.pcapng live.pcapng "the captures at the speed $speed"
  # Later, from what was kept.
  "$veltra" decode raw.bin --database database.json --format jsonl -o later.jsonl 2>summary.txt
  packets live.jsonl >a.txt
  packets later.jsonl >b.txt
  same a.txt b.txt "the packets of the raw trace"
done

[ "$(cat modem.txt)" != line ] && grep -qx '/dev/pts/[0-9]*' modem.txt || fail "no name of the line"
[ ! -e line ] || fail "the link has outlived the modem"
