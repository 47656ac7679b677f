#!/usr/bin/env bash
# A capture from a COM port: what the virtual modem sends from this machine's side
# arrives whole, and how it ends.
. "$(dirname "$0")/../live/line.sh"
. "$(dirname "$0")/wine.sh"
veltra=$native
ln -sfn "$work/line" "$prefix/dosdevices/com31"

"$native" simulate "$session" --trace trace.bin --database database.json --repeat 5 >/dev/null
"$native" decode trace.bin --database database.json -o expected.pcapng 2>summary.txt

for name in COM31 '\\.\COM31'; do
  modem --repeat 5 --database live_database.json
  # The modem goes when all is read, so the device is lost: what came is kept.
  windows capture --port "$name" --database database.json --raw raw.bin \
    --time-base modem -o live.pcapng 2>capture.txt &
  ended $! 5 capture.txt
  ended $modem 0 modem.err
  same trace.bin raw.bin "what was sent and what was received"
  same_capture expected.pcapng live.pcapng "the captures"
  lines capture.txt | grep -qF "veltra: $name was lost (port closed: " ||
    fail "no word of the lost device" "$(cat capture.txt)"
  lines capture.txt | grep -qF "); what came before is in the capture." ||
    fail "no word of what is kept" "$(cat capture.txt)"
  rm -f raw.bin raw.bin.json live.pcapng
done

# Ctrl-C while bytes come, and again on the same port.
for run in 1 2; do
  modem --repeat 1000000 --database live_database.json
  windows capture --port COM31 --database database.json --raw raw.bin \
    --time-base modem -o live.pcapng 2>capture.txt &
  running=$!
  wait_for_size raw.bin 5000 $running
  kill -INT $running
  ended $running 0 capture.txt
  lines capture.txt | grep -q '^live.pcapng: [0-9]* packets*\(, [0-9]* TLS keys*\)* from .* of trace$' ||
    fail "run $run: no summary" "$(cat capture.txt)"
  ended $modem 5 modem.err # nobody reads any more
  rm -f raw.bin raw.bin.json live.pcapng
done

# Ctrl-C while the modem is silent ends a read that waits.
printf '#\n0\tat\t4f4b0d0a\n' >first.tsv
"$native" simulate first.tsv --trace first.bin --database first.json >/dev/null
printf '#\n0\tat\t4f4b0d0a\n100000000\tat\t4f4b0d0a\n' >slow.tsv
session=slow.tsv
modem --speed session --database live_database.json
windows capture --port COM31 --database database.json --raw raw.bin \
  --time-base modem -o live.pcapng 2>capture.txt &
running=$!
wait_for_size raw.bin "$(stat -c %s first.bin)" $running
kill -INT $running
ended $running 0 capture.txt
ended $modem 5 modem.err

rm -f line
refused 3 'there is no port COM31; "veltra devices" lists' \
  windows capture --port COM31 --database database.json -o none.pcapng
refused 3 'expected.pcapng is not a serial port' \
  windows capture --port expected.pcapng --database database.json -o none.pcapng
refused 5 'write a trace file with --trace instead' \
  windows simulate "$session" --pty COM31
