#!/usr/bin/env bash
# A capture that is killed leaves its bytes: the raw trace as it came, the capture in a part
# that becomes a whole capture again.
#   recover_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/../live/line.sh"
veltra=$1 session=$2

for format in pcapng jsonl; do
  modem --repeat 1000000 --database database.json
  "$veltra" capture --port line --database database.json --raw m.trace -f $format -o m.$format \
    --sync-interval 0.2 2>capture.txt &
  running=$!
  wait_for_size m.trace 100000 $running
  kill -KILL $running
  ended $running 137 capture.txt
  wait $modem || true
  part=$(ls m.$format.*.part)
  [ ! -e m.$format ] || fail "a capture that is not whole has its name"

  "$veltra" decode m.trace --database database.json -f $format -o all.$format 2>decode.txt
  # The next start names the command. Ended at once, for lack of a port.
  rm -f line
  "$veltra" capture --port line --database database.json -o m.$format 2>note.txt && fail "no port, no failure"
  grep -qF "make a whole one of it with: veltra recover $part" note.txt || fail "no note" "$(cat note.txt)"

  "$veltra" recover "$part" 2>recover.txt || fail "not recovered" "$(cat recover.txt)"
  grep -q "^m.$format: [0-9]* packets recovered\(, the last of 20[0-9T:.-]*Z\)*; .*is missing" recover.txt || fail "no count" "$(cat recover.txt)"
  [ ! -e "$part" ] || fail "the part is still there"
  if [ $format = jsonl ]; then
    packets m.jsonl >a.txt
    packets all.jsonl >all.txt
    head -n "$(wc -l <a.txt)" all.txt >b.txt
    same a.txt b.txt "the packets recovered and those of the raw trace"
  elif command -v capinfos >/dev/null; then
    capinfos -c m.pcapng >capinfos.txt 2>&1 || fail "the capture is not whole" "$(cat capinfos.txt)"
    ! grep -q 'cut short' capinfos.txt || fail "the capture is cut" "$(cat capinfos.txt)"
  fi
  rm -f m.* all.*
done

# A part that is being written, and files that are not parts, are left alone.
modem --repeat 1000000 --database database.json
"$veltra" capture --port line --database database.json --raw m.trace -o m.pcapng 2>capture.txt &
running=$!
wait_for_size m.trace 20000 $running
code=0
"$veltra" recover m.pcapng.*.part 2>recover.txt || code=$?
[ $code = 3 ] && grep -q 'is being written by .*(process ' recover.txt || fail "not refused" "$(cat recover.txt)"
kill -INT $running
ended $running 0 capture.txt
wait $modem || true
refused 3 'is not called NAME' "$veltra" recover m.pcapng
echo garbage >x.pcapng.01234567.part
refused 3 'does not begin like a capture' "$veltra" recover x.pcapng.01234567.part
