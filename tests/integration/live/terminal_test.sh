#!/usr/bin/env bash
# Who looks at a terminal sees the counters, and they are gone when the summary comes.
#   terminal_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/line.sh"
veltra=$1 session=$2

command -v script >/dev/null || {
  echo "skipped: no script(1), so no terminal to look at"
  exit 77
}
# At 100000 baud for half a second and more.
modem --repeat 2 --baud-rate 100000 --database database.json
code=0
script -q -e -c "$(printf '%q ' "$veltra" capture --port line --database database.json -o out.pcapng)" \
  typescript >/dev/null 2>&1 </dev/null || code=$?
[ $code = 5 ] || fail "exit code $code" "$(cat -v typescript)"
clear_line=$'\r\033[K'
grep -aqF "${clear_line}00:00:00  " typescript || fail "no counters" "$(cat -v typescript)"
grep -aqE '00:00:0[0-9]  [0-9.]+ k?B  [0-9.]+ k?B/s  ip [0-9]+  rrc [0-9]+  nas [0-9]+  at [0-9]+' \
  typescript || fail "no packets in the counters" "$(cat -v typescript)"
grep -aqF "${clear_line}out.pcapng: " typescript ||
  fail "the counters are in the way of the summary" "$(cat -v typescript)"
