#!/usr/bin/env bash
# Many traces become captures in a directory: whatever happens to one of them or to the batch.
#   batch_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
set -m # or what runs in the background would ignore Ctrl-C
veltra=$1 session=$2

mkdir -p in/day1 in/day2
"$veltra" simulate "$session" --trace in/day1/a.bin --database database.json >/dev/null
cp in/day1/a.bin in/day2/a.bin
cp in/day1/a.bin in/b.trace
echo 'not a trace' >in/notes.txt
: >in/day2/empty.bin

# values FILE.jsonl MEMBER: of each line, in the order of the inputs.
values() { sed -E "s/.*\"input\":\"([^\"]*)\".*\"$2\":(\"[^\"]*\"|[0-9.]+).*/\1 \2/" "$1" | sort; }

# alike WHAT EXPECTED GOT: two texts.
alike() {
  printf '%s\n' "$2" >"$work.expected"
  printf '%s\n' "$3" >"$work.got"
  same "$work.expected" "$work.got" "$1"
}

# Every trace has its capture, and the failed one its reason.
code=0
"$veltra" decode in -d database.json --output-dir out --summary all.jsonl 2>printed.txt || code=$?
[ $code = 4 ] || fail "exit code $code of a batch with an empty trace" "$(cat printed.txt)"
alike "the captures" $'out/b.pcapng\nout/day1/a.pcapng\nout/day2/a.pcapng' "$(find out -type f | sort)"
"$veltra" decode in/day1/a.bin -d database.json -o one.pcapng -q 2>quiet.txt
[ ! -s quiet.txt ] || fail "a quiet run prints" "$(cat quiet.txt)"
same_capture one.pcapng out/day1/a.pcapng "the capture of a batch and that of a single run"
[ "$(wc -l <printed.txt)" = 5 ] || fail "not a line for each trace and one for all" "$(cat printed.txt)"
grep -q '^in/b.trace: out/b.pcapng, 53 packets from 5.7 kB, ' printed.txt || fail "no line" "$(cat printed.txt)"
grep -q '^veltra: in/day2/empty.bin is empty' printed.txt || fail "no failure" "$(cat printed.txt)"
grep -q '^3 traces decoded, 1 failed; ' printed.txt || fail "no sum" "$(cat printed.txt)"
alike "the exit codes of the summary" \
  $'in/b.trace 0\nin/day1/a.bin 0\nin/day2/a.bin 0\nin/day2/empty.bin 4' "$(values all.jsonl exit_code)"
alike "the digest" "in/day1/a.bin \"$(sha256sum out/day1/a.pcapng | cut -d ' ' -f 1)\"" \
  "$(values all.jsonl output_sha256 | grep day1)"

# A single run has the same line.
"$veltra" decode in/day1/a.bin -d database.json -o one.pcapng -q --summary - >one.jsonl
alike "the losses" "$(values all.jsonl dropped_traces | grep day1)" "$(values one.jsonl dropped_traces)"
code=0
"$veltra" decode in/day1/a.bin -d database.json -o one.pcapng -q --fail-on-loss --summary - \
  >one.jsonl 2>printed.txt || code=$?
[ $code = 8 ] && [ -s one.pcapng ] || fail "exit code $code with losses"
grep -q 'something was lost from in/day1/a.bin: 7 dropped traces' printed.txt || fail "no losses" "$(cat printed.txt)"
grep -q '"exit_code":8,"reason":"something was lost' one.jsonl || fail "not in the summary"

# What is there is not done again; what is missing is.
rm out/day1/a.pcapng in/day2/empty.bin
touch -d 2001-01-01 out/b.pcapng out/day2/a.pcapng
"$veltra" decode in -d database.json --output-dir out --skip-existing --summary all.jsonl 2>printed.txt
grep -q '^1 trace decoded, 2 skipped; ' printed.txt || fail "not skipped" "$(cat printed.txt)"
[ -s out/day1/a.pcapng ] && [ -z "$(find out/b.pcapng -newermt 2002-01-01)" ] || fail "the wrong ones are skipped"
[ "$(wc -l <all.jsonl)" = 5 ] || fail "the summary is not continued" "$(cat all.jsonl)"
"$veltra" decode in -d database.json --output-dir out --skip-existing 2>printed.txt
grep -q '^0 traces decoded, 3 skipped; ' printed.txt || fail "not skipped" "$(cat printed.txt)"

# The parts of the work are the work.
for part in 1/2 2/2; do
  "$veltra" decode in -d database.json --output-dir parts --shard $part --summary parts.jsonl 2>/dev/null
done
alike "the parts' captures" "$(cd out && find . -type f | sort)" "$(cd parts && find . -type f | sort)"
[ "$(wc -l <parts.jsonl)" = 3 ] || fail "a trace is in several parts" "$(cat parts.jsonl)"

# The options of a run are those of each; the database is found in a cache.
"$veltra" db add database.json --cache cache >/dev/null
"$veltra" decode in --cache cache --output-dir lines -j 2 -f jsonl --layers nas --metadata none -q
"$veltra" decode in/b.trace --cache cache -o one.jsonl --layers nas --metadata none -q
same one.jsonl lines/b.jsonl "the lines of a batch and those of a single run"
code=0
sed -E 's/("uuid": ")[0-9a-f]{8}/\1ffffffff/' database.json >another.json
"$veltra" decode in -d another.json --output-dir strict --strict 2>printed.txt || code=$?
[ $code = 3 ] && [ ! -e strict/b.pcapng ] || fail "exit code $code of the wrong database"

# Ctrl-C leaves whole captures only, and the next run does the rest.
for i in $(seq 40); do cp in/b.trace "in/day1/$i.bin"; done
"$veltra" decode in -d database.json --output-dir cut --summary cut.jsonl -j 1 2>printed.txt &
running=$!
until [ -s cut.jsonl ]; do
  kill -0 $running 2>/dev/null || break
  sleep 0.005
done
code=0
kill -INT $running 2>/dev/null || true
wait $running || code=$?
[ $code = 130 ] || [ $code = 0 ] || fail "exit code $code after Ctrl-C" "$(cat printed.txt)"
for capture in $(find cut -name '*.pcapng'); do
  same_capture one.pcapng "$capture" "a capture beside those that were not made"
done
[ -z "$(find cut -name '*.part')" ] || fail "a part is left"
"$veltra" decode in -d database.json --output-dir cut --skip-existing --summary cut.jsonl -q
[ "$(find cut -name '*.pcapng' | wc -l)" = 43 ] || fail "the rest is not done"
[ "$(wc -l <cut.jsonl)" = 43 ] || fail "not one line for each trace" "$(wc -l <cut.jsonl)"

# Programs read the state of the databases, too.
"$veltra" db verify --cache cache --json >state.json
grep -q '"intact": true' state.json || fail "not as JSON" "$(cat state.json)"
"$veltra" db show database.json --json | grep -q '"decoder_configured_by": "M' || fail "not as JSON"
[[ $("$veltra" devices --json 2>/dev/null) == \[* ]] || fail "devices are not a JSON array"

# What is wrong with a command line is said before anything is decoded.
refused 2 "would both become" "$veltra" decode in/day1/a.bin in/day2/a.bin -d database.json --output-dir same
refused 2 "name it with --output-dir" "$veltra" decode in/b.trace in/day1/a.bin -d database.json
refused 2 "--keylog is one file" "$veltra" decode in -d database.json --output-dir x --keylog keys
refused 2 "3/2 is not a part" "$veltra" decode in -d database.json --output-dir x --shard 3/2
refused 2 "--jobs requires --output-dir" "$veltra" decode in/b.trace -d database.json -j 2
refused 3 "contains no file whose name ends in .bin or .trace or" "$veltra" decode out -d database.json --output-dir x
refused 2 "cannot be the summary, too" "$veltra" decode in/b.trace -d database.json --output-dir x --summary in/b.trace
refused 2 "standard output cannot be two outputs" "$veltra" decode in/b.trace -d database.json -o - --summary -
