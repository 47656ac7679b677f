#!/usr/bin/env bash
# What cannot be captured is refused with a sentence that says what to do, and no
# file of an earlier capture is touched.
#   refused_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

modem --repeat 1000000 --database database.json
echo earlier >raw.bin
refused 2 'raw.bin exists; give another name for the raw trace' \
  "$veltra" capture --port line --raw raw.bin
set -- "$veltra" capture --database database.json --raw raw.bin --overwrite -o out.pcapng --port
refused 3 'there is no port /dev/ttyNONE; "veltra devices" lists' "$@" /dev/ttyNONE
refused 3 'database.json is not a serial port' "$@" database.json
refused 3 '/ is not a serial port' "$@" /
refused 3 'line does not support these line settings' "$@" line --stop-bits 1.5
refused 2 'there is nothing to write' "$veltra" capture --port line
refused 2 'x.pcapng cannot be written without a trace database' \
  "$veltra" capture --port line --raw x -o x.pcapng
for names in '--raw x -o ./x' '--raw - -o -' '--raw database.json' '-o database.json' '-o line' '--raw line'; do
  # shellcheck disable=SC2086 # several words
  refused 2 'cannot be both an output and' \
    "$veltra" capture --port line --database database.json $names
done
refused 6 'cannot write the raw trace' "$veltra" capture --port line --raw none/x
[ "$(cat raw.bin)" = earlier ] || fail "an earlier raw trace was replaced"

"$veltra" capture --port line --raw first.bin 2>capture.txt &
running=$!
wait_for_size first.bin 1000 $running
code=0
"$veltra" capture --port line --raw second.bin 2>second.txt || code=$?
[ $code = 3 ] || fail "exit code $code for a port in use" "$(cat second.txt)"
grep -q "^veltra: line is in use by .*veltra (process $running)" second.txt ||
  fail "who uses the port is not named" "$(cat second.txt)"
kill -INT $running
ended $running 0 capture.txt

ended $modem 5 modem.err

# A link to something else is not the virtual modem's to replace, one to a device that
# is gone is.
ln -s raw.bin other
refused 6 'cannot create the link other: File exists' "$veltra" simulate "$session" --pty other
[ "$(readlink other)" = raw.bin ] || fail "another link was replaced"
ln -sf /dev/pts/99999 line
rm modem.txt
"$veltra" simulate "$session" --pty line >modem.txt 2>modem.err &
modem=$!
until [ -s modem.txt ]; do sleep 0.005; done
[ "$(readlink line)" = "$(cat modem.txt)" ] || fail "an old link was not replaced"
ln -sfn other line
kill -INT $modem
ended $modem 130 modem.err
[ "$(readlink line)" = other ] || fail "a link was removed that is not the modem's any more"

# Nothing that the database knows: the modem's name for it is not a packet.
printf '#\n100000000\tat\t4f4b0d0a\n' >late.tsv
session=late.tsv
rm raw.bin
modem --speed session --database database.json
"$veltra" capture --port line --database database.json --raw raw.bin -o out.pcapng 2>capture.txt &
running=$!
wait_for_size raw.bin 50 $running
kill -INT $running
ended $running 4 capture.txt
grep -q '^veltra: not one packet came out of .* received on line' capture.txt ||
  fail "no word of the missing packets" "$(cat capture.txt)"
grep -q '^raw.bin: ' capture.txt || fail "the raw trace is not kept" "$(cat capture.txt)"
[ ! -e out.pcapng ] || fail "a capture without packets was written"
