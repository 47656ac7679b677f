#!/usr/bin/env bash
# A live capture finds its database by the UUID in the stream; what was searched is
# one raw packet, and decoded too.
#   search_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json >/dev/null
"$veltra" decode trace.bin --database database.json --format jsonl -o file.jsonl 2>summary.txt
uuid=$(sed -nE 's/.*database UUID +//p' summary.txt)
mkdir -p "cache/modem/1/$uuid"
mv database.json "cache/modem/1/$uuid/"
digest=$(sha256sum "cache/modem/1/$uuid/database.json" | cut -d ' ' -f 1)
printf '{"firmwares": {"updated_timestamp": "2024-01-01T00:00:00Z", "devices": [{"type": "modem",
  "versions": [{"version": "1", "uuid": "%s",
  "database": {"path": "database.json", "sha256": "%s"}}]}]}}' "$uuid" "$digest" >cache/config.json

modem
"$veltra" capture --port line --cache cache --raw raw.bin --format jsonl --raw-packets \
  -o live.jsonl 2>capture.txt &
ended $! 5 capture.txt
ended $modem 0 modem.err
same trace.bin raw.bin "what was sent and what was received"
packets file.jsonl >a.txt
packets live.jsonl >b.txt
same a.txt b.txt "the packets"
grep -q "database UUID  *$uuid" capture.txt || fail "the database is not named" "$(cat capture.txt)"
head -n 1 live.jsonl | grep -q '^{"sequence":1,"time":0,"layer":"modem_trace"' ||
  fail "the first packet is not what was searched" "$(head -c 300 live.jsonl)"

# A modem that names a database that is not there.
printf '#\n0\tat\t4f4b0d0a\n' >small.tsv
session=small.tsv
modem --uuid 00000000-0000-0000-0000-000000000000
code=0
"$veltra" capture --port line --cache cache -o none.pcapng 2>capture.txt || code=$?
[ $code = 3 ] || [ $code = 5 ] || fail "exit code $code" "$(cat capture.txt)"
[ ! -e none.pcapng ] || fail "a capture without packets was written"
grep -q '00000000-0000-0000-0000-000000000000' capture.txt || fail "the UUID is not named" "$(cat capture.txt)"
