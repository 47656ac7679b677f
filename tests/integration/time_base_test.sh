#!/usr/bin/env bash
# A capture's times are the modem's or count from a given time, and never run backwards.
#   time_base_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2
usage=2

times() { tshark -r "$1" -T fields -e frame.time_epoch 2>/dev/null; }

"$veltra" simulate "$session" --trace trace.bin --database database.json >/dev/null
decode=("$veltra" decode --database database.json)

# The session begins at 20 ms on the modem's clock.
"${decode[@]}" trace.bin -o modem.pcapng 2>summary.txt
"${decode[@]}" trace.bin --time-base modem -o named.pcapng 2>summary.txt
same modem.pcapng named.pcapng "the default and --time-base modem"
times modem.pcapng >modem.txt
[ "$(head -n 1 modem.txt)" = 0.020000000 ] || fail "not the modem's time" "$(head -n 1 modem.txt)"

"${decode[@]}" trace.bin --time-base 2024-05-01T14:00:00.25+02:00 -o given.pcapng 2>summary.txt
times given.pcapng >given.txt
[ "$(head -n 1 given.txt)" = 1714564800.250000000 ] || fail "not the given time" "$(cat given.txt)"
awk '{printf "%.9f\n", $1 + 0.23}' modem.txt >expected.txt
sed 's/^17145648//; s/^0*\([0-9]\)/\1/' given.txt >got.txt
same expected.txt got.txt "the times from the first packet on"
capinfos given.pcapng >capinfos.txt 2>&1
grep -q 'First packet time: *2024-05-01 .*00.250000000' capinfos.txt || fail "capinfos" "$(cat capinfos.txt)"

# Joined traces go on from each other; the packet behind a step says so.
cat trace.bin trace.bin >joined.bin
"${decode[@]}" joined.bin -o joined.pcapng 2>summary.txt
capinfos -o joined.pcapng 2>&1 | grep -q 'Strict time order: *True' || fail "the times run backwards"
packets=$(wc -l <modem.txt)
tshark -r joined.pcapng -Y 'frame.comment contains "clock"' -T fields -e frame.number \
  -e frame.comment 2>/dev/null >steps.txt
printf "%d\tthe modem's clock went back by 0.356 s before this packet\n" $((packets + 1)) >expected.txt
same expected.txt steps.txt "the steps in time"

# What is wrong with a time base is said before anything is read.
refused $usage 'neither host nor modem nor a time' "${decode[@]}" trace.bin --time-base now
refused $usage 'neither host nor modem nor a time' "${decode[@]}" trace.bin --time-base ''
refused $usage '2024-05-01T12:00:00 is neither' "${decode[@]}" trace.bin --time-base 2024-05-01T12:00:00
refused $usage 'there is no trace.bin.json' "${decode[@]}" trace.bin --time-base host
refused $usage "JSON Lines keep the modem's" "${decode[@]}" trace.bin -f jsonl --time-base modem

# A sidecar gives the times unless they are asked for otherwise.
cat >trace.bin.json <<'EOF'
{"format": "veltra-trace", "version": 1, "uuid": "",
 "anchors": [{"time_base": "2024-05-01T12:00:00Z", "modem_time": 10000000, "offset": 0}]}
EOF
for more in '' '--time-base host'; do
  # shellcheck disable=SC2086 # two words
  "${decode[@]}" trace.bin $more -o recorded.pcapng 2>summary.txt
  [ "$(times recorded.pcapng | head -n 1)" = 1714564800.010000000 ] || fail "not the recorded time"
done
"${decode[@]}" trace.bin --time-base modem -o again.pcapng 2>summary.txt
same modem.pcapng again.pcapng "--time-base modem beside a sidecar"
echo '{"format": "veltra-trace", "version": 2}' >trace.bin.json
refused 3 'trace.bin.json does not say when' "${decode[@]}" trace.bin -o none.pcapng
