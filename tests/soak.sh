#!/usr/bin/env bash
# A recorder on a line that is always busy, for as long as you like: the modem restarts, its
# line stalls, the recorder itself is stopped, and the disk fills up. Not part of ./test.
#   soak.sh VELTRA SESSION.tsv MINUTES
#
# Checks that each connection's raw pieces are what was sent from their beginning on, and
# whole up to the loss of the line; that every gap is counted; and that memory and
# descriptors do not grow.
set -uo pipefail
veltra=$(realpath "$1") session=$(realpath "$2") minutes=$3
work=$(mktemp -d)
cd "$work" || exit 1
trap 'kill $(jobs -p) 2>/dev/null; rm -rf "$work"' EXIT
failures=0
fault() {
  echo "FAULT: $*"
  failures=$((failures + 1))
}

"$veltra" simulate "$session" --trace once.bin --database database.json >/dev/null
mkdir out
set -m
"$veltra" capture --port line --database database.json --raw out/m.trace -o out/m.pcapng \
  --reconnect -b filesize:500 -b printname:- --sync-interval 1 --status-file status.json \
  >names.txt 2>log.txt &
recorder=$!

resident() { awk '/^VmRSS/ { print $2 }' "/proc/$recorder/status"; }
descriptors() { find "/proc/$recorder/fd" -type l 2>/dev/null | wc -l; }

end=$((SECONDS + 60 * minutes))
connection=0
first_resident=0 max_resident=0 first_descriptors=0 max_descriptors=0
while [ $SECONDS -lt $end ]; do
  connection=$((connection + 1))
  rm -f line
  "$veltra" simulate "$session" --pty line --repeat 1000000 >/dev/null 2>&1 &
  modem=$!
  sleep $((3 + RANDOM % 6))
  rm -f line # or the recorder might find the pseudo-terminal of another program under its name
  case $((RANDOM % 4)) in
    0) kill -KILL $modem ;; # pulled out
    1) kill -STOP $modem; sleep 2; kill -CONT $modem; sleep 2; kill -KILL $modem ;; # stalls
    2) kill -TERM $modem ;; # ends in order
    3) kill -STOP $recorder; sleep 2; kill -CONT $recorder; sleep 2; kill -KILL $modem ;;
  esac
  wait $modem 2>/dev/null
  kill -0 $recorder 2>/dev/null || { fault "the recorder ended: $(tail -n 3 log.txt)"; break; }
  until [ "$(grep -c 'was lost' log.txt)" -ge $connection ]; do sleep 0.1; done
  now=$(resident) open=$(descriptors)
  [ $first_resident != 0 ] || { first_resident=$now first_descriptors=$open; }
  [ "$now" -le $max_resident ] || max_resident=$now
  [ "$open" -le $max_descriptors ] || max_descriptors=$open
done
last_resident=$(resident)
kill -INT $recorder
wait $recorder || fault "exit code $?"

# The pieces of a connection begin where the one before ended; the first begins the session.
# What every connection received is the session over and over, cut where the line was lost.
size=$(stat -c %s once.bin)
"$veltra" simulate "$session" --trace many.bin --database unused.json --repeat 2000 >/dev/null
bytes=0 begun=0
: >connection.bin
check_connection() {
  local length
  length=$(stat -c %s connection.bin)
  [ "$length" != 0 ] || return 0
  bytes=$((bytes + length))
  cmp -s -n "$length" connection.bin many.bin || fault "connection $begun differs from what was sent"
}
for piece in out/m_*.trace; do
  # The modem names its database at the start, so a piece that begins with it begins a connection.
  if cmp -s -n 60 "$piece" many.bin; then
    check_connection
    begun=$((begun + 1))
    : >connection.bin
  fi
  cat "$piece" >>connection.bin
done
check_connection
[ $begun = $connection ] || fault "$begun connections in the pieces, $connection were made"
grep -q " $((connection - 1)) gaps\? of " log.txt || fault "not $((connection - 1)) gaps: $(grep gap log.txt)"
[ "$(sort names.txt | uniq | wc -l)" = "$(find out -type f ! -name '*.json' | wc -l)" ] || fault "not every file was announced"
if command -v capinfos >/dev/null; then
  capinfos -c out/m_*.pcapng >capinfos.txt 2>&1 || fault "a capture is not whole: $(head -n 2 capinfos.txt)"
fi
[ "$last_resident" -le $((first_resident + 8192)) ] || fault "memory grew from $first_resident to $last_resident kB"
[ $max_descriptors -le $((first_descriptors + 4)) ] || fault "descriptors grew from $first_descriptors to $max_descriptors"

# A disk that fills up ends a run that may not delete, with what came kept.
if [ "$(id -u)" = 0 ] && mkdir disk && mount -t tmpfs -o size=2m tmpfs disk 2>/dev/null; then
  rm -f line
  "$veltra" simulate "$session" --pty line --repeat 1000000 >/dev/null 2>&1 &
  until [ -e line ]; do sleep 0.1; done
  timeout 60 "$veltra" capture --port line --raw disk/m.trace -b filesize:200 --min-free 500k 2>disk.txt
  [ $? = 6 ] || fault "a full disk: $(cat disk.txt)"
  kill %% 2>/dev/null
  rm -f line disk/*
  "$veltra" simulate "$session" --pty line --repeat 1000000 >/dev/null 2>&1 &
  until [ -e line ]; do sleep 0.1; done
  timeout -s INT 40 "$veltra" capture --port line --raw disk/m.trace -b filesize:200 -b files:100 \
    --min-free 500k -a duration:30 2>disk.txt || fault "a ring on a full disk: $(cat disk.txt)"
  disk="the disk of 2 MB stayed usable"
  umount disk
else
  disk="full disks were not tried (not root)"
fi

echo "$minutes min, $connection connections, $bytes bytes in $(find out -name '*.trace' | wc -l) raw pieces; \
memory $first_resident to $last_resident kB (at most $max_resident), descriptors $first_descriptors to \
$max_descriptors; $disk; $failures faults"
[ $failures = 0 ]
