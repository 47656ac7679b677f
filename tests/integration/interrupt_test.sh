#!/usr/bin/env bash
# Ctrl-C in the middle of a run leaves a whole capture of what came before.
#   interrupt_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2
set -m # or what runs in the background would ignore Ctrl-C

# Long enough that the run cannot be over before the signal comes.
"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 20000 >/dev/null

# The virtual modem likewise: what it has written is a trace with its database.
for signal in INT TERM HUP; do
  "$veltra" simulate "$session" --trace early.bin --database early.json --repeat 1000000 >messages.txt &
  running=$!
  until part=$(ls early.bin.*.part 2>/dev/null) && [ "$(stat -c %s "$part")" -gt 500000 ]; do
    kill -0 $running 2>/dev/null || fail "the modem ended too early"
    sleep 0.005
  done
  kill -$signal $running
  code=0
  wait $running || code=$?
  [ $code = 130 ] || fail "exit code $code of a modem after SIG$signal"
  grep -q ' messages, interrupted: [0-9]* bytes of trace in early.bin' messages.txt ||
    fail "no word of the interruption" "$(cat messages.txt)"
  "$veltra" decode early.bin --database early.json -o early.pcapng 2>summary.txt
  [ "$(echo early*)" = "early.bin early.json early.pcapng" ] || fail "other files were left" "$(ls)"
  rm early.*
done

# While it waits for the reader of a named pipe, it has made no file yet, and ends at once.
mkfifo early.pipe
"$veltra" simulate "$session" --trace early.pipe --database early.json 2>messages.txt &
running=$!
until [ /proc/$running/exe -ef "$veltra" ] && grep -q '^State:.S' /proc/$running/status; do
  kill -0 $running 2>/dev/null || fail "the modem does not wait for a reader" "$(cat messages.txt)"
  sleep 0.005
done
kill -INT $running
: <>early.pipe # or one that goes on waiting would wait forever
code=0
wait $running || code=$?
[ $code = 130 ] || fail "exit code $code of a modem that waits for a reader"
[ "$(echo early*)" = early.pipe ] || fail "other files were left" "$(ls)"
rm early.pipe

# A reader that has gone is a failure, and leaves no database alone.
{ "$veltra" simulate "$session" --trace - --database early.json --repeat 1000000 2>messages.txt || echo $? >code; } |
  head -c 10 >/dev/null
[ "$(cat code)" = 6 ] || fail "exit code $(cat code) when nobody reads"
grep -q '^veltra: ' messages.txt || fail "no word of the reader that has gone"
[ "$(echo early*)" = "early*" ] || fail "files were left" "$(ls)"

for signal in INT TERM; do
  for format in pcapng jsonl; do
    "$veltra" decode trace.bin --database database.json --chunk-size 16 --format $format \
      -o out.$format 2>summary.txt &
    running=$!
    # Enough for the 2000 packets that are looked at below.
    until part=$(ls out.$format.*.part 2>/dev/null) && [ "$(stat -c %s "$part")" -gt 500000 ]; do
      kill -0 $running 2>/dev/null || fail "the run ended too early" "$(cat summary.txt)"
      sleep 0.005
    done
    kill -$signal $running
    code=0
    wait $running || code=$?
    [ $code = 130 ] || fail "exit code $code after SIG$signal" "$(cat summary.txt)"
    grep -q 'of trace, interrupted before its end' summary.txt || fail "no word of the interruption"
    [ "$(ls out.*)" = out.$format ] || fail "other files were left" "$(ls)"
    mv out.$format $signal.$format
  done
  tshark -r $signal.pcapng -c 2000 -T fields -e _ws.col.Protocol >protocols.txt 2>tshark.txt ||
    fail "tshark does not read the capture" "$(cat tshark.txt)"
  [ "$(wc -l <protocols.txt)" = 2000 ] || fail "the capture has only $(wc -l <protocols.txt) packets"
  # Not cut in its last packet, either.
  capinfos -c $signal.pcapng >capinfos.txt 2>&1 || fail "the capture is not whole" "$(cat capinfos.txt)"
  [ "$(tail -c 1 $signal.jsonl | od -An -tx1 | tr -d ' ')" = 0a ] || fail "the last line is cut"
  tail -n 1 $signal.jsonl | grep -q '^{"sequence":.*}$' || fail "the last line is not whole"
done

# Long enough that no pipe takes all of it.
"$veltra" simulate "$session" --trace early.bin --database database.json --repeat 200 >/dev/null

# A reader that stalls - one that has the pipe open, and takes the first packets and no
# more - does not hold up the end: NAME SIGNAL OUTPUT COMMAND... in the background.
first_byte() { dd bs=1 count=1 <&9 >/dev/null 2>&1; }
first_packets() { dd bs=65536 count=2 iflag=fullblock <&9 >/dev/null 2>&1; }
# Until every thread of a process has waited for 100 ms: the pipe is full then.
wait_until_blocked() {
  local times=0
  until [ $times = 5 ]; do
    times=$((times + 1))
    ! grep -qs '^State:.[^S]' /proc/"$1"/task/*/status || times=0
    sleep 0.02
  done
}
stalled() {
  local name=$1 signal=$2 output=$3 code=0
  mkfifo "$name"
  exec 9<>"$name"
  "${@:4}" >&9 2>"$name.txt" &
  first_packets
  wait_until_blocked $!
  kill -"$signal" $!
  wait $! || code=$?
  [ $code = 6 ] || fail "$name: exit code $code when the reader stalls" "$(cat "$name.txt")"
  grep -q "^veltra: cannot write $output: the program that reads it has not read for 2 seconds" \
    "$name.txt" || fail "$name: no word of the reader" "$(cat "$name.txt")"
  [ "$(wc -l <"$name.txt")" = 1 ] || fail "$name: more than one line" "$(cat "$name.txt")"
}
decode=("$veltra" decode early.bin --database database.json)
stalled pcapng INT "standard output" "${decode[@]}" -o - &
checks=($!)
stalled jsonl INT "standard output" "${decode[@]}" --format jsonl -o - &
checks+=($!)
stalled named TERM named "${decode[@]}" --format jsonl -o named &
checks+=($!)
stalled modem INT "standard output" \
  "$veltra" simulate "$session" --trace - --database modem.json --repeat 1000 &
checks+=($!)
for check in "${checks[@]}"; do wait "$check"; done

# One that is slow gets everything.
mkfifo pipe go
{ read -r _ <go && cat; } <pipe >slow.jsonl &
reading=$!
"${decode[@]}" --chunk-size 16 --format jsonl -o pipe 2>messages.txt &
running=$!
exec 9<pipe && first_byte
exec 9<&-
kill -INT $running
echo go >go
code=0
wait $running || code=$?
[ $code = 130 ] || fail "exit code $code after Ctrl-C when the reader is slow" "$(cat messages.txt)"
wait $reading
tail -n 1 slow.jsonl | grep -q '^{"sequence":.*}$' || fail "the slow reader's last line is cut"
written=$(sed -n 's/^pipe: \([0-9]*\) packets.*/\1/p' messages.txt)
[ "$(wc -l <slow.jsonl)" = "$written" ] || fail "the slow reader has not all $written packets"
