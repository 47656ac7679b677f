#!/usr/bin/env bash
# A live capture has the host's times, also after a restart of the modem, and so has a
# later decode of its raw trace.
#   time_base_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

first_time() { tshark -r "$1" -T fields -e frame.time_epoch -c 1 2>/dev/null; }

# captured OPTION...: what the modem sends, to live.pcapng and raw.bin.
captured() {
  modem --speed max --database live.json
  "$veltra" capture --port line --database live.json --raw raw.bin --overwrite "$@" 2>capture.txt &
  ended $! 5 capture.txt
  ended $modem 0 modem.err
}

# A modem that restarts counts its time from 0 again.
cut -f 1-3 "$session" >once.tsv
cat once.tsv once.tsv >twice.tsv
session=twice.tsv

before=$(date +%s.%N)
captured -o live.pcapng
after=$(date +%s.%N)
first_time live.pcapng | awk -v before="$before" -v after="$after" '{exit !(before <= $1 && $1 <= after)}' ||
  fail "the first packet is not at the host's time" "$before $(first_time live.pcapng) $after"
capinfos -o live.pcapng 2>&1 | grep -q 'Strict time order: *True' || fail "the times run backwards"
tshark -r live.pcapng -Y 'frame.comment contains "clock went back by 0.356 s"' 2>/dev/null >steps.txt
[ "$(wc -l <steps.txt)" = 1 ] || fail "not one restart" "$(cat steps.txt)"

# Both anchors are beside the raw trace, and give the same capture later.
[ "$(grep -c time_base raw.bin.json)" = 2 ] || fail "not two anchors" "$(cat raw.bin.json)"
"$veltra" decode raw.bin --database live.json -o later.pcapng 2>summary.txt
same_capture live.pcapng later.pcapng "the captures"

# Without a database the arrival is kept.
before=$(date +%s.%N)
modem --speed max
"$veltra" capture --port line --raw raw.bin --overwrite 2>capture.txt &
ended $! 5 capture.txt
ended $modem 0 modem.err
after=$(date +%s.%N)
"$veltra" decode raw.bin --database live.json -o later.pcapng 2>summary.txt
first_time later.pcapng | awk -v before="$before" -v after="$after" '{exit !(before <= $1 && $1 <= after)}' ||
  fail "a trace that was not decoded lost its time" "$(cat raw.bin.json)"

# The modem's own clock needs no sidecar, and an earlier one would be wrong.
captured --time-base modem -o modem.pcapng
[ "$(first_time modem.pcapng)" = 0.020000000 ] || fail "not the modem's time"
[ ! -e raw.bin.json ] || fail "the sidecar of another recording is left"

# A file that is something else is not replaced.
refused 2 'x.json cannot be both an output and the trace database' \
  "$veltra" capture --port line --database x.json --raw x
echo '{}' >y.json
refused 2 'y.json is in the place of' "$veltra" capture --port line --database live.json --raw y
