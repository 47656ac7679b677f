#!/usr/bin/env bash
# A capture outlives its modem: it waits for the port, and goes on when it comes back.
#   reconnect_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/../live/line.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 20 >/dev/null

# wait_for_text TEXT FILE PROCESS
wait_for_text() {
  until grep -qs "$1" "$2"; do
    kill -0 "$3" 2>/dev/null || fail "the program ended before \"$1\"" "$(cat "$2")"
    sleep 0.005
  done
}

# The port is not there yet; then the modem comes and goes three times.
"$veltra" capture --port line --database database.json --raw m.trace -f jsonl -o m.jsonl \
  --reconnect >/dev/null 2>capture.txt &
running=$!
wait_for_text 'note: line cannot be opened (.*); waiting for it' capture.txt $running
for number in 1 2 3; do
  modem --repeat 20 --speed max
  ended $modem 0 modem.err
  until [ "$(grep -c 'note: line was lost (.*); waiting for it' capture.txt)" = $number ]; do
    kill -0 $running 2>/dev/null || fail "the capture ended with its modem" "$(cat capture.txt)"
    sleep 0.005
  done
done
kill -INT $running
ended $running 0 capture.txt
[ "$(ls m_*.trace | wc -l)" = 3 ] || fail "not a piece for each time" "$(ls)"
number=0
for raw in m_*.trace; do
  same trace.bin "$raw" "what was sent and the piece $raw"
  number=$((number + 1))
  gaps=$(grep -c '^{"kind":"remark","text":"line was lost for [0-9.]* s before this packet' "${raw%.trace}.jsonl") || true
  [ "$gaps" = $((number > 1)) ] || fail "$gaps gaps marked in piece $number"
done
grep -q 'remarks .*2 gaps of [0-9.]* s in all: the port was lost' capture.txt ||
  fail "the gaps are not counted" "$(cat capture.txt)"

# The modem comes back with another firmware: its database is found again.
printf '#\n0\tat\t4f4b0d0a\n' >other.tsv
first=11111111-2222-4333-8444-555555555555 second=66666666-7777-4888-9999-aaaaaaaaaaaa
# firmware UUID SESSION VERSION: its database in the cache, and its line of the catalogue.
firmware() {
  local directory=cache/modem/$3/$1 digest
  mkdir -p "$directory"
  "$veltra" simulate "$2" --trace unused.bin --uuid "$1" --database "$directory/database.json" >/dev/null
  digest=$(sha256sum "$directory/database.json" | cut -d ' ' -f 1)
  printf '{"version": "%s", "uuid": "%s", "database": {"path": "database.json", "sha256": "%s"}}' \
    "$3" "$1" "$digest"
}
versions=$(firmware $first "$session" 1),$(firmware $second other.tsv 2)
printf '{"firmwares": {"updated_timestamp": "2024-01-01T00:00:00Z", "devices": [{"type": "modem",
  "versions": [%s]}]}}' "$versions" >cache/config.json
rm -f line capture.txt
"$veltra" capture --port line --cache cache -f jsonl -o u.jsonl --reconnect 2>capture.txt &
running=$!
wait_for_text 'waiting for it' capture.txt $running
modem --uuid $first --speed max
ended $modem 0 modem.err
wait_for_text 'was lost' capture.txt $running
session=other.tsv
modem --uuid $second --speed max --repeat 2
ended $modem 0 modem.err
until [ "$(grep -c 'was lost' capture.txt)" = 2 ]; do
  kill -0 $running 2>/dev/null || fail "the capture ended" "$(cat capture.txt)"
  sleep 0.005
done
kill -INT $running
ended $running 0 capture.txt
set -- u_*.jsonl
[ $# = 2 ] || fail "not two pieces" "$(ls)"
grep -q "\"modem_db_uuid\":\"$first\"" "$1" || fail "the first firmware's database was not found"
grep -q "\"modem_db_uuid\":\"$second\"" "$2" || fail "the second firmware's database was not found"

# Waiting ends with Ctrl-C, and without --reconnect nothing waits.
rm -f line capture.txt
"$veltra" capture --port line --raw none.trace --reconnect 2>capture.txt &
running=$!
wait_for_text 'waiting for it' capture.txt $running
kill -INT $running
ended $running 4 capture.txt
refused 3 'there is no port line' "$veltra" capture --port line --raw none.trace
