#!/usr/bin/env bash
# A capture on standard output is read while it grows: tshark shows each packet while
# the modem is silent, and decrypts what it reads.
#   stream_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

# The session, and a message that nobody waits for.
{
  cut -f 1-3 "$session"
  printf '600000000\tat\t4f4b0d0a\n'
} >slow.tsv
session=slow.tsv
packets=$(awk -F'\t' '!/^#/ && $2 != "handshake_randbytes" && $2 != "session_master"' slow.tsv | wc -l)

# until_seen COUNT WHAT: seen.txt has so many lines.
until_seen() {
  until [ "$(wc -l <seen.txt)" -ge "$1" ]; do
    kill -0 $running 2>/dev/null || fail "the capture ended before $2" "$(cat capture.txt tshark.txt)"
    sleep 0.005
  done
}

for reader in '-r -' '-i -'; do
  modem --speed session --database database.json
  mkfifo stream
  : >seen.txt
  # shellcheck disable=SC2086 # two words
  tshark $reader -l -T fields -e _ws.col.Protocol -e _ws.col.Info <stream >seen.txt 2>tshark.txt &
  reading=$!
  "$veltra" capture --port line --database database.json -o - >stream 2>capture.txt &
  running=$!
  until_seen $((packets - 1)) "tshark showed all packets"
  grep -q 'GET /status.json' seen.txt || fail "tshark $reader: not decrypted" "$(cat seen.txt)"
  kill -INT $running
  ended $running 0 capture.txt
  ended $reading 0 tshark.txt
  grep -q "^standard output: $((packets - 1)) packets, 2 TLS keys " capture.txt ||
    fail "no summary" "$(cat capture.txt)"
  ended $modem 5 modem.err
  rm stream
done

# JSON Lines, and a reader that has seen enough: the capture says so and ends.
session=$2
modem --repeat 1000000 --database database.json
"$veltra" capture --port line --database database.json --format jsonl -o - \
  2>capture.txt | head -n 3 >three.jsonl &
ended $! 6 capture.txt
[ "$(wc -l <three.jsonl)" = 3 ] || fail "not three lines" "$(cat three.jsonl)"
ended $modem 5 modem.err
broken='^veltra: cannot write standard output: Broken pipe; the program that read it has ended'
grep -q "$broken" capture.txt || fail "no word of the reader" "$(cat capture.txt)"

# A raw trace goes on without the reader until Ctrl-C.
modem --repeat 1000000 --database database.json
mkfifo lines
head -n 3 <lines >three.jsonl &
reading=$!
"$veltra" capture --port line --database database.json --raw raw.bin --format jsonl -o - \
  >lines 2>capture.txt &
running=$!
ended $reading 0 three.jsonl
wait_for_size raw.bin $(($(stat -c %s raw.bin) + 50000)) $running
kill -INT $running
ended $running 6 capture.txt
ended $modem 5 modem.err
grep -q '^raw.bin: ' capture.txt || fail "no word of the raw trace" "$(cat capture.txt)"
grep -q "$broken" capture.txt || fail "no word of the reader" "$(cat capture.txt)"

# A reader that stalls does not hold up the end of a capture. The pipe is full before the
# modem sends its first byte, and the shell, which has it open, reads no more.
modem --repeat 1000000 --database database.json
kill -STOP $modem
mkfifo stalled
exec 9<>stalled
"$veltra" capture --port line --database database.json --raw stalled.bin --raw-packets -o - \
  >&9 2>capture.txt &
running=$!
dd bs=1 count=1 <&9 >/dev/null 2>&1 # the capture's head is there
while dd if=/dev/zero of=stalled oflag=nonblock bs=4096 count=1 2>/dev/null; do :; done
kill -CONT $modem
wait_for_size stalled.bin 1 $running
kill -INT $running
ended $running 6 capture.txt
grep -q '^veltra: cannot write standard output: the program that reads it has not read for 2' \
  capture.txt || fail "no word of the reader" "$(cat capture.txt)"
grep -q '^stalled.bin: ' capture.txt || fail "no word of the raw trace" "$(cat capture.txt)"
exec 9<&-
ended $modem 5 modem.err
