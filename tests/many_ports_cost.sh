#!/usr/bin/env bash
# What a recorder of four busy ports costs: processor time of the one process, user and system,
# as a share of one core. Not part of ./test.
#   many_ports_cost.sh VELTRA SESSION.tsv SECONDS
set -euo pipefail
veltra=$(realpath "$1") session=$(realpath "$2") seconds=$3
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; rm -rf "$work"' EXIT
cd "$work"
ports=()
"$veltra" simulate "$session" --trace unused.bin --database database.json >/dev/null
for line in a b c d; do
  "$veltra" simulate "$session" --pty $line --repeat 1000000 >/dev/null 2>&1 &
  ports+=(--port $line)
  until [ -e $line ]; do sleep 0.05; done
done
"$veltra" capture "${ports[@]}" --database database.json --raw m.trace -o m.pcapng -b filesize:2000 \
  --status-file status.json 2>log.txt &
recorder=$!
until [ "$(find . -name 'm-?_*.trace' | wc -l)" -ge 4 ]; do sleep 0.05; done

# processor ticks, bytes received, now in nanoseconds
measure() { echo $(($(cut -d ' ' -f 14,15 /proc/$recorder/stat | tr ' ' +))) "$(cat m-*.trace | wc -c)" "$(date +%s%N)"; }
begin=$(measure)
sleep "$seconds"
end=$(measure)
kill -INT $recorder
wait $recorder
awk -v hz="$(getconf CLK_TCK)" -v text="$begin $end" 'BEGIN {
  split(text, n)
  time = (n[6] - n[3]) / 1e9
  printf "%.1f %% of a core in %.1f s; %.0f B/s on each of 4 ports\n",
    100 * (n[4] - n[1]) / hz / time, time, (n[5] - n[2]) / time / 4 }'
