#!/usr/bin/env bash
# A capture becomes a series of files, each complete by itself; joined they are the trace.
#   rotation_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/../live/line.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 40 >/dev/null
"$veltra" decode trace.bin --database database.json -f jsonl -o whole.jsonl 2>/dev/null
packets whole.jsonl >whole.txt

# At 1000000 baud without a pause no byte is lost at a boundary, and no packet.
for format in jsonl pcapng; do
  mkdir $format
  modem --repeat 40
  "$veltra" capture --port line --database database.json --raw $format/m.trace -f $format \
    -o $format/m.$format -b filesize:20 -b printname:- >names.txt 2>capture.txt &
  ended $! 5 capture.txt
  ended $modem 0 modem.err
  cat $format/m_*.trace >joined.bin
  same trace.bin joined.bin "what was sent and the raw pieces joined"
  pieces=$(ls $format/m_*.trace | wc -l)
  [ "$pieces" -ge 5 ] || fail "only $pieces pieces" "$(ls $format)"
  sort names.txt >a.txt
  ls $format/m_* | grep -v '\.json$' | sort >b.txt
  same a.txt b.txt "the names printed and the files"
  for raw in $format/m_*.trace; do
    [ -e "${raw%.trace}.$format" ] || fail "no capture of the name of $raw" "$(ls $format)"
    [ -e "$raw.json" ] || fail "no sidecar of $raw" "$(ls $format)"
  done
  [ -z "$(ls -A $format | grep -v '^m_[0-9]\{5\}_[0-9]\{14\}\.')" ] || fail "other files" "$(ls $format)"
done
# Nor when bytes come as fast as they are taken.
mkdir fast
modem --repeat 40 --speed max
"$veltra" capture --port line --raw fast/m.trace -b filesize:1 2>capture.txt &
ended $! 5 capture.txt
ended $modem 0 modem.err
cat fast/m_*.trace >joined.bin
same trace.bin joined.bin "what was sent fast and the raw pieces joined"

cat jsonl/m_*.jsonl >joined.jsonl
packets joined.jsonl >joined.txt
same whole.txt joined.txt "the packets of the pieces and of the trace"
if command -v capinfos >/dev/null; then
  capinfos -TrMc pcapng/m_*.pcapng >infos.txt 2>&1 || fail "a piece is not whole" "$(cat infos.txt)"
  [ "$(awk '{ n += $2 } END { print n }' infos.txt)" -gt 0 ] || fail "no packets" "$(cat infos.txt)"
fi

# A later piece does not contain the modem's UUID; its sidecar does, and the times.
uuid=$("$veltra" decode trace.bin --database database.json -f jsonl -o - 2>&1 >whole2.jsonl |
  sed -nE 's/.*database UUID +//p')
mkdir -p "cache/modem/1/$uuid"
cp database.json "cache/modem/1/$uuid/"
printf '{"firmwares": {"updated_timestamp": "2024-01-01T00:00:00Z", "devices": [{"type": "modem",
  "versions": [{"version": "1", "uuid": "%s", "database": {"path": "database.json",
  "sha256": "%s"}}]}]}}' "$uuid" "$(sha256sum database.json | cut -d ' ' -f 1)" >cache/config.json
third=$(ls pcapng/m_00003_*.trace)
"$veltra" decode "$third" --cache cache -o third.pcapng 2>decode.txt ||
  fail "a piece cannot be decoded with its sidecar" "$(cat decode.txt)"
if command -v tshark >/dev/null; then
  for capture in third.pcapng "${third%.trace}.pcapng"; do
    tshark -r "$capture" -T fields -e frame.time_epoch 2>/dev/null >>"$(basename "$capture").times"
  done
  # What of a frame was in the piece before is damage here, so that the beginnings differ.
  tail -n 5 third.pcapng.times >a.txt
  tail -n 5 "$(basename "${third%.trace}.pcapng").times" >b.txt
  same a.txt b.txt "the times of a piece and of its capture"
fi

# A ring keeps the latest files; the command gets each name.
modem --repeat 40
"$veltra" capture --port line --raw ring.trace -b filesize:20 -b files:2 \
  --on-file 'echo "got" >>commands.txt; test -n' 2>capture.txt &
ended $! 5 capture.txt
ended $modem 0 modem.err
[ "$(ls ring_*.trace | wc -l)" = 2 ] || fail "not the latest two" "$(ls ring_*)"
cat ring_*.trace >tail.bin
tail -c "$(stat -c %s tail.bin)" trace.bin >expected.bin
same expected.bin tail.bin "the end of the trace and the ring"
[ "$(wc -l <commands.txt)" -ge 5 ] || fail "the command did not run for each file"

# The end: by packets, by files, by time, by size.
modem --repeat 100000
"$veltra" capture --port line --database database.json -c 100 -o count.jsonl -f jsonl 2>capture.txt &
ended $! 0 capture.txt
[ "$(wc -l <count.jsonl)" = 100 ] || fail "$(wc -l <count.jsonl) packets instead of 100"
modem --repeat 100000
"$veltra" capture --port line --raw few.trace -b filesize:1 -a files:3 2>capture.txt &
ended $! 0 capture.txt
[ "$(ls few_*.trace | wc -l)" = 3 ] || fail "not three files" "$(ls few_*)"
cat few_*.trace >few.bin
head -c "$(stat -c %s few.bin)" trace.bin | cmp -s - few.bin || fail "the first files are not the trace's begin"
modem --repeat 100000
"$veltra" capture --port line --raw timed.trace -b duration:0.2 -a duration:1 2>capture.txt &
ended $! 0 capture.txt
[ "$(ls timed_*.trace | wc -l)" -ge 2 ] || fail "not several files" "$(ls timed_*)"
modem --repeat 100000
"$veltra" capture --port line --raw sized.trace -a filesize:20 2>capture.txt &
ended $! 0 capture.txt
[ "$(stat -c %s sized.trace)" -ge 20000 ] || fail "ended before the size"

# No room: the capture ends by itself and keeps what came.
modem --repeat 100000
"$veltra" capture --port line --raw full.trace --min-free 900000T 2>capture.txt &
ended $! 6 capture.txt
grep -q '^veltra: less than .* are free in \.; the capture ended' capture.txt ||
  fail "no word of the room" "$(cat capture.txt)"

refused 2 'give duration:' "$veltra" capture --port line --raw -b size:3
refused 2 'one file only' "$veltra" capture --port line --raw -b files:3
refused 2 'a series of files' "$veltra" capture --port line --raw - -b filesize:3
refused 2 'packets are counted when they are decoded' "$veltra" capture --port line --raw -c 3
