#!/usr/bin/env bash
# CPU time of a capture from end to end while a line is busy all the time.
#   live_cpu.sh VELTRA SESSION.tsv [BAUD_RATE [REPEAT [CHUNK_SIZE...]]]
# Plays the session back to back along a pseudo-terminal and captures it with its
# database, the raw trace kept. Prints for each chunk size the seconds that the
# capture ran, its user and system CPU seconds and their share of one core. Both
# programs run on the same machine; only the capture is counted.
set -euo pipefail
veltra=$(realpath "$1") session=$(realpath "$2") baud_rate=${3:-1000000} repeat=${4:-200}
chunk_sizes=("${@:5}")
[ ${#chunk_sizes[@]} != 0 ] || chunk_sizes=(1 64 1024)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export TIMEFORMAT='%R %U %S'

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat "$repeat" >/dev/null
printf '%s bytes at %s baud\n' "$(stat -c %s trace.bin)" "$baud_rate"
for chunk_size in "${chunk_sizes[@]}"; do
  "$veltra" simulate "$session" --pty line --baud-rate "$baud_rate" --repeat "$repeat" >/dev/null 2>&1 &
  until [ -e line ]; do sleep 0.01; done
  rm -f raw.bin live.pcapng
  # The lost device at the end is exit code 5. In a shell of its own: this one would count the
  # virtual modem, too, which ends at the same time.
  bash -c 'time "$@" 2>capture.txt || [ $? = 5 ]' measured "$veltra" capture --port line \
    --database database.json --raw raw.bin --chunk-size $chunk_size -o live.pcapng 2>time.txt
  wait
  [ "$chunk_size" != 1 ] || cmp trace.bin raw.bin
  awk -v size=$chunk_size '{printf "chunk size %5d: %.2f s, %.2f s user, %.2f s system, %.2f %% of one core\n",
    size, $1, $2, $3, ($2 + $3) / $1 * 100}' time.txt
done
