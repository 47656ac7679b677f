#!/usr/bin/env bash
# Who looks at a terminal sees a bar, and it is gone when the summary comes. What
# is written into a file has nothing of it.
#   progress_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2

# Long enough for the bar, which comes after a tenth of a second.
"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 10000 >/dev/null
set -- "$veltra" decode trace.bin --database database.json --chunk-size 16

"$@" -o file.pcapng 2>file.txt
grep -q '^file.pcapng: ' file.txt || fail "no summary"
! grep -q $'[\r\033]' file.txt || fail "control characters without a terminal" "$(cat -v file.txt)"

# script gives the run a terminal; both its outputs go there.
command -v script >/dev/null || {
  echo "skipped: no script(1), so no terminal to look at"
  exit 77
}
script -q -e -c "$(printf '%q ' "$@" -o terminal.pcapng)" typescript >/dev/null 2>&1 </dev/null ||
  fail "the run on a terminal failed" "$(cat -v typescript)"
clear_line=$'\r\033[K'
grep -aqF "$clear_line[#" typescript || fail "no bar on a terminal" "$(cat -v typescript)"
grep -aqE '[#-]\]  ?[0-9]+ %  [0-9.]+ [kMG]?B/s' typescript || fail "no percentage and speed"
grep -aqF "${clear_line}terminal.pcapng: " typescript ||
  fail "the bar is in the way of the summary" "$(cat -v typescript)"
same file.pcapng terminal.pcapng "the captures with and without a bar"

# Many traces have one bar, and what failed stays above it.
mkdir many
for i in 1 2 3; do head -c 6000 trace.bin >many/$i.bin; done
: >many/empty.bin
set -- "$veltra" decode many --database database.json --output-dir out -j 1
"$@" 2>file.txt || true
! grep -q $'[\r\033]' file.txt || fail "control characters without a terminal" "$(cat -v file.txt)"
script -q -c "$(printf '%q ' "$@")" typescript >/dev/null 2>&1 </dev/null || true
grep -aqF "$clear_line[-----" typescript || fail "no bar before the first trace" "$(cat -v typescript)"
grep -aqE '\]  3 of 4 traces  [0-9.]+ [kMG]?B/s  [0-9]+ s left' typescript ||
  fail "no bar for all" "$(cat -v typescript)"
grep -aqF "${clear_line}veltra: many/empty.bin is empty" typescript || fail "no failure" "$(cat -v typescript)"
! grep -aq 'out/1.pcapng' typescript || fail "a line for each trace on a terminal" "$(cat -v typescript)"
grep -aqF "${clear_line}3 traces decoded, 1 failed; " typescript || fail "no sum" "$(cat -v typescript)"
