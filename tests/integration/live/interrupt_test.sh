#!/usr/bin/env bash
# Ctrl-C ends a capture as it should end: with whole files, the summary and 0.
#   interrupt_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

for format in jsonl pcapng; do
  for signal in INT TERM; do
    modem --repeat 1000000 --database database.json
    "$veltra" capture --port line --database database.json --raw raw.bin \
      --format $format -o live.$format 2>capture.txt &
    running=$!
    wait_for_size raw.bin 5000 $running
    kill -$signal $running
    ended $running 0 capture.txt
    grep -qE "^live.$format: [0-9]+ packets(, [0-9]+ TLS keys?)? from .* of trace$" capture.txt ||
      fail "no summary" "$(cat capture.txt)"
    grep -q '^raw.bin: ' capture.txt || fail "no word of the raw trace" "$(cat capture.txt)"
    grep -v '^veltra: line: recording; database database.json; files raw.bin, ' capture.txt >end.txt
    ! grep -q $'[\r\033]\|interrupted\|veltra:' end.txt || fail "too many words" "$(cat -v capture.txt)"
    [ "$(ls live.*)" = live.$format ] || fail "other files were left" "$(ls)"
    # The modem ends because nobody reads any more.
    ended $modem 5 modem.err
    grep -q '^veltra: the program that read .* closed it' modem.err || fail "the modem says nothing"

    # The raw trace may hold the bytes of frames that were not decoded any more.
    "$veltra" decode raw.bin --database database.json --format $format -o later.$format 2>summary.txt
    if [ $format = jsonl ]; then
      lines=$(wc -l <live.jsonl)
      later=$(wc -l <later.jsonl)
      [ "$later" -ge "$lines" ] || fail "$later packets from the raw trace, $lines live"
      packets live.jsonl >a.txt
      packets later.jsonl | head -n "$lines" >b.txt
      same a.txt b.txt "the packets"
    else
      capinfos -c live.pcapng >capinfos.txt 2>&1 || fail "the capture is not whole" "$(cat capinfos.txt)"
    fi
    rm -f live.* raw.bin
  done
done

# A capture that is ended while the modem is silent behaves the same; the session's
# own time is slow enough for that.
printf '#\n0\tat\t4f4b0d0a\n' >first.tsv
"$veltra" simulate first.tsv --trace first.bin --database database.json >/dev/null
printf '#\n0\tat\t4f4b0d0a\n100000000\tat\t4f4b0d0a\n' >slow.tsv
session=slow.tsv
modem --speed session --database database.json
"$veltra" capture --port line --database database.json --raw raw.bin -o live.pcapng 2>capture.txt &
running=$!
wait_for_size raw.bin "$(stat -c %s first.bin)" $running
kill -INT $running
ended $running 0 capture.txt
grep -q '^live.pcapng: 1 packet ' capture.txt || fail "the one packet is missing" "$(cat capture.txt)"
ended $modem 5 modem.err
