#!/usr/bin/env bash
# tshark lists the modem's interfaces and captures from one, with TLS decrypted while the
# session runs; what cannot be captured is one clear sentence; the end costs no byte of the
# raw trace.
#   extcap_test.sh VELTRA SESSION.tsv
veltra=$1 session=$2
. "$(dirname "$0")/user.sh"

"${as_user[@]}" "$veltra" wireshark install >install.txt
"${as_user[@]}" tshark -D 2>/dev/null | grep -qF 'veltra (LTE modem on another port)' ||
  fail "the interface is not listed" "$("${as_user[@]}" tshark -D 2>&1)" "$(cat install.txt)"
"${as_user[@]}" tshark -i veltra -L 2>&1 | grep -q 'veltra' || fail "no link type"

# set NAME=VALUE...: the interface's options for tshark, into $options.
set_options() {
  local each
  options=()
  for each in "$@"; do options+=(-o "extcap.veltra.${each%%=*}:${each#*=}"); done
}

# The session, and a message that nobody waits for.
{
  cut -f 1-3 "$session"
  printf '600000000\tat\t4f4b0d0a\n'
} >slow.tsv
packets=$(awk -F'\t' '!/^#/ && $2 != "handshake_randbytes" && $2 != "session_master"' slow.tsv | wc -l)
session=slow.tsv
modem --speed session --database database.json
open_line
mkdir raw
give_to_user raw
set_options port="$work/line" database="$work/database.json" rawdir="$work/raw"
: >seen.txt
"${as_user[@]}" tshark -l -i veltra "${options[@]}" >seen.txt 2>tshark.txt &
running=$!
until [ "$(wc -l <seen.txt)" -ge $((packets - 1)) ]; do
  kill -0 $running 2>/dev/null || fail "tshark ended early" "$(cat seen.txt tshark.txt)"
  sleep 0.02
done
grep -q 'GET /status.json' seen.txt || fail "TLS is not decrypted" "$(cat seen.txt)"
kill -INT $running
ended $running 0 tshark.txt
! grep -qE 'veltra:|Error' tshark.txt || fail "not silent" "$(cat tshark.txt)"
ended $modem 5 modem.err
"$veltra" decode raw/*.trace -d database.json -f jsonl -o raw.jsonl 2>/dev/null
[ "$(wc -l <raw.jsonl)" = $((packets + 1)) ] || fail "the raw trace is not whole" "$(cat raw.jsonl)"

# sentence TEXT OPTION...: a capture with these options fails with this one sentence.
sentence() {
  local text=$1
  shift
  set_options "$@"
  "${as_user[@]}" tshark -i veltra "${options[@]}" >out.txt 2>err.txt || true
  [ "$(grep -c 'veltra: ' err.txt)" = 1 ] || fail "not one sentence" "$(cat err.txt)"
  grep -qF "veltra: $text" err.txt || fail "no \"$text\"" "$(cat err.txt)"
  ! grep -qiE 'no device|no such device|interface named' err.txt ||
    fail "a misleading message" "$(cat err.txt)"
}
sentence 'there is no port /dev/ttyNONE;' port=/dev/ttyNONE database="$work/database.json"
sentence "$work/none.json: database file does not exist" port=/dev/ttyNONE database="$work/none.json"
sentence 'there is no port to capture from' database="$work/database.json"
sentence 'there is nothing to decode with' port=/dev/ttyNONE
sentence '--parity: ' port=/dev/ttyNONE parity=some

# A port in use.
session=$2
modem --repeat 1000000
open_line
"${as_user[@]}" "$veltra" capture --port line --raw first.bin 2>capture.txt &
running=$!
wait_for_size first.bin 1 $running
sentence "$work/line is in use by" port="$work/line" database="$work/database.json"
kill $running $modem
wait $running $modem || true

# extcap OPTION...: the call that Wireshark makes, in the background; $running is its process.
extcap() {
  "$veltra" --capture --extcap-interface veltra --fifo fifo --port line --database database.json \
    "$@" >extcap.out 2>extcap.err &
  running=$!
}
mkfifo fifo control control_in

# Stopped: the capture is complete, and the toolbar's log has the summary.
modem --repeat 1000000
extcap --raw-dir '' --extcap-control-in control_in --extcap-control-out control --some-later-option
exec 9>control_in # as Wireshark does, whose window waits for it, before it reads the capture
cat fifo >stopped.pcapng &
cat control >control.txt &
wait_for_size stopped.pcapng 100000 $running
kill -TERM $running
ended $running 0 extcap.err
[ ! -s extcap.err ] && [ ! -s extcap.out ] || fail "not silent" "$(cat extcap.err extcap.out)"
tshark -r stopped.pcapng >/dev/null 2>extcap.err || fail "the capture is cut" "$(cat extcap.err)"
grep -aq 'dropped traces  ' control.txt || fail "no summary in the log" "$(cat -v control.txt)"
grep -aqE '00:00:0[0-9]  [0-9.]+ kB ' control.txt || fail "no counters" "$(cat -v control.txt)"
ended $modem 5 modem.err

# Closed, without a word: the run ends, and the raw trace is whole.
mkdir closed
modem --repeat 1000000
extcap --raw-dir closed
head -c 50000 fifo >cut.pcapng
ended $running 0 extcap.err
[ ! -s extcap.err ] || fail "not silent" "$(cat extcap.err)"
ended $modem 5 modem.err
"$veltra" decode closed/*.trace -d database.json -f jsonl -o closed.jsonl 2>/dev/null
[ "$(wc -l <closed.jsonl)" -gt 100 ] || fail "the raw trace is not kept"
