#!/usr/bin/env bash
# --wireshark opens the finished file, or shows a live capture as it comes; a window that is
# closed ends it in order.
#   window_test.sh VELTRA SESSION.tsv
veltra=$1 session=$2
. "$(dirname "$0")/../live/line.sh"
unset XDG_CONFIG_HOME

# Notes what it was called with, and reads from standard input what it is to show.
cat >wireshark <<'SCRIPT'
#!/bin/sh
[ "$3" != - ] || head -c "${LIMIT:-1000000000}" >shown.pcapng
echo "$@" >called.new
mv called.new called.txt
SCRIPT
chmod +x wireshark
export VELTRA_WIRESHARK=$work/wireshark

until_called() {
  until [ -e called.txt ]; do sleep 0.005; done
  [ "$(cat called.txt)" = "$1" ] || fail "called with: $(cat called.txt)"
  rm called.txt
}

"$veltra" simulate "$session" --trace trace.bin --database database.json >/dev/null
"$veltra" decode trace.bin -d database.json --wireshark 2>decode.txt
until_called '-r trace.pcapng'
refused 2 'Wireshark does not read jsonl' "$veltra" decode trace.bin -d database.json -f jsonl --wireshark
refused 2 'leave out one of the two' "$veltra" decode trace.bin -d database.json -o - --wireshark
refused 2 'nothing to show without a trace database' "$veltra" capture -p line --raw x --wireshark
refused 3 'none.json' "$veltra" capture -p line -d none.json --wireshark
[ ! -e shown.pcapng ] || fail "a window was opened for a refused run"
VELTRA_WIRESHARK=./none refused 3 './none cannot be started' \
  "$veltra" capture -p line -d database.json --wireshark

# Live, until Ctrl-C.
modem --repeat 1000000
"$veltra" capture -p line -d database.json --wireshark 2>capture.txt &
running=$!
wait_for_size shown.pcapng 50000 $running
kill -INT $running
ended $running 0 capture.txt
until_called '-k -i -'
grep -q '^Wireshark: .* packets' capture.txt || fail "no summary" "$(cat capture.txt)"
ended $modem 5 modem.err

# The window is closed.
modem --repeat 1000000
LIMIT=50000 "$veltra" capture -p line -d database.json --wireshark 2>capture.txt &
running=$!
ended $running 0 capture.txt
until_called '-k -i -'
! grep -q '^veltra: ' capture.txt || fail "a closed window is reported" "$(cat capture.txt)"
ended $modem 5 modem.err

# Under a name: the file, at the end.
modem --repeat 1000000
"$veltra" capture -p line -d database.json -o live.pcapng --raw live.trace --wireshark 2>capture.txt &
running=$!
wait_for_size live.trace 10000 $running
kill -INT $running
ended $running 0 capture.txt
until_called '-r live.pcapng'
