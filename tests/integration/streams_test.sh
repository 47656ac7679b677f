#!/usr/bin/env bash
# A trace out of a pipe, out of compressed files or in several files gives the packets of the
# same trace in one file.
#   streams_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
set -m # or what runs in the background would ignore Ctrl-C
veltra=$1 session=$2
usage=2 bad_input=3 nothing_decoded=4

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 20 >/dev/null
"$veltra" db add database.json --cache cache >/dev/null
"$veltra" decode trace.bin -d database.json -o plain.pcapng -q
decode() { "$veltra" decode "$@" -q --overwrite; }

# The same packets, from everywhere, with a database that is named or found.
gzip -k trace.bin
split -b 30000 --additional-suffix=.part trace.bin piece-
mkfifo pipe.bin
for database in '-d database.json' '--cache cache'; do
  decode - $database -o stdin.pcapng <trace.bin
  same_capture plain.pcapng stdin.pcapng "standard input with $database"
  head -c 100000000 trace.bin | decode - $database -o stdin.pcapng
  same_capture plain.pcapng stdin.pcapng "a pipe as standard input with $database"
  cat trace.bin >pipe.bin &
  decode pipe.bin $database -o pipe.pcapng
  wait $!
  same_capture plain.pcapng pipe.pcapng "a named pipe with $database"
  decode trace.bin.gz $database -o gzip.pcapng
  same_capture plain.pcapng gzip.pcapng "a gzip file with $database"
  # The order is that of the names.
  decode --join piece-ac.part piece-aa.part piece-a[!ac].part $database -o joined.pcapng
  same_capture plain.pcapng joined.pcapng "files that are one trace, with $database"
done
if type zstd >/dev/null 2>&1; then
  zstd -q trace.bin
  decode trace.bin.zst -d database.json -o zstd.pcapng
  same_capture plain.pcapng zstd.pcapng "a zstd file"
fi

# Names that follow from the trace's.
mkdir names
cp trace.bin.gz names/night.bin.gz
decode names/night.bin.gz -d database.json
[ -s names/night.pcapng ] || fail "no capture beside a gzip file" "$(ls names)"
decode names -d database.json --output-dir out
same_capture plain.pcapng out/night.pcapng "a gzip file in a batch"
rm out/night.pcapng
decode names --cache cache --output-dir out --strict
same_capture plain.pcapng out/night.pcapng "a gzip file in a batch with a cache"

head -c 20 trace.bin >nameless.bin
refused $bad_input "does not name its database" \
  "$veltra" decode --join nameless.bin --cache cache --strict -o x.pcapng

# A trace that cannot be read to its end is not decoded by half.
head -c 3000 trace.bin.gz >cut.bin.gz
refused $bad_input "its gzip data breaks off" "$veltra" decode cut.bin.gz -d database.json -o x.pcapng
cp trace.bin not.bin.gz
refused $bad_input "its gzip data is damaged" "$veltra" decode not.bin.gz -d database.json
refused $bad_input "none.bin.gz cannot be read" "$veltra" decode none.bin.gz -d database.json
refused $nothing_decoded "standard input is empty" "$veltra" decode - -d database.json -o x.pcapng </dev/null
refused $usage "name the capture with -o" "$veltra" decode - -d database.json
refused $usage "have no order" "$veltra" decode --join trace.bin - -d database.json -o x.pcapng
printf '%s' "$(head -c 100 /dev/zero | tr '\0' x)" >short.bin
refused $nothing_decoded "It begins like text" "$veltra" decode short.bin -d database.json

# What is not a trace is called by its name.
tar cf archive.bin trace.bin
cp plain.pcapng capture.bin
cp trace.bin.gz compressed.bin
refused $bad_input "capture.bin is a pcapng capture, not a modem's trace" "$veltra" decode capture.bin -d database.json
refused $bad_input "archive.bin is a tar archive" "$veltra" decode archive.bin -d database.json
refused $bad_input "compressed.bin is a gzip file whose name does not end in .gz" "$veltra" decode compressed.bin -d database.json

# Ctrl-C ends the wait for a writer, with what had come.
mkfifo slow.bin
"$veltra" decode slow.bin -d database.json -o slow.pcapng 2>slow.txt &
running=$!
exec 9>slow.bin
cat trace.bin >&9
until ls slow.pcapng.*.part >/dev/null 2>&1; do
  kill -0 $running 2>/dev/null || fail "the decode ended by itself" "$(cat slow.txt)"
  sleep 0.005
done
kill -INT $running
code=0
wait $running || code=$?
exec 9>&-
[ $code = 130 ] && grep -q interrupted slow.txt || fail "exit code $code after Ctrl-C" "$(cat slow.txt)"
[ -z "$(find . -name 'slow*.part')" ] || fail "a part is left"
