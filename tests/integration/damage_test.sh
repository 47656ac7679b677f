#!/usr/bin/env bash
# A recording that starts in mid-frame, or was damaged, costs what was hit and
# nothing else, and the loss shows.
#   damage_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2

# decode NAME: NAME.bin to NAME.pcapng and NAME.txt, its packets without numbers
# and positions.
decode() {
  "$veltra" decode "$1.bin" --database database.json -o "$1.pcapng" 2>"$1.summary" ||
    fail "$1" "$(cat "$1.summary")"
  "$veltra" decode "$1.bin" --database database.json --format jsonl -o "$1.jsonl" 2>/dev/null
  sed -E 's/^\{"sequence":[0-9]+,//; s/,"metadata":.*//' "$1.jsonl" >"$1.txt"
}
dropped() { sed -nE 's/^ +dropped traces +([0-9]+)$/\1/p' "$1.summary"; }

"$veltra" simulate "$session" --trace whole.bin --database database.json >/dev/null
decode whole
packets=$(wc -l <whole.txt)

# From any place on, what is left are the last packets.
for offset in 101 1000 3001; do
  tail -c +$offset whole.bin >late.bin
  decode late
  left=$(wc -l <late.txt)
  [ "$left" -gt 0 ] && [ "$left" -lt "$packets" ] || fail "$left packets from byte $offset on"
  same <(tail -n "$left" whole.txt) late.txt "the packets from byte $offset on"
done

# A recording that ends inside a frame says so, wherever it was cut; one that was damaged
# in its last bytes has a damaged frame.
! grep -q 'end of the trace' whole.summary || fail "a whole trace is said to be cut"
size=$(stat -c %s whole.bin)
for cut in 1 2 5 20; do
  head -c $((size - cut)) whole.bin >cut.bin
  decode cut
  grep -q 'end of the trace  *inside a frame' cut.summary || fail "a cut of $cut bytes is not told" "$(cat cut.summary)"
done
cp whole.bin bent.bin
printf '\125' | dd of=bent.bin bs=1 seek=$((size - 3)) conv=notrunc 2>/dev/null
decode bent
grep -q 'damaged frames  *1$' bent.summary || fail "damage in the last bytes is not told"

# Flip bits in the middle: some messages go, a warning comes for them.
cp whole.bin damaged.bin
for offset in 2000 3500; do
  printf '\125\252' | dd of=damaged.bin bs=1 seek=$offset conv=notrunc 2>/dev/null
done
decode damaged
diff whole.txt damaged.txt >differences.txt || true
lost=$(grep -c '^<' differences.txt || true)
[ "$lost" -ge 1 ] && [ "$lost" -le 4 ] || fail "$lost packets lost by four flipped bytes"
warnings=$(grep '^>' differences.txt | grep -c '"payload":"44726f7070656420747261636573' || true)
[ "$warnings" -ge 1 ] || fail "no warning in the capture" "$(cat differences.txt)"
[ "$(dropped damaged)" = $(($(dropped whole) + lost)) ] ||
  fail "$(dropped damaged) dropped traces in the summary; $(dropped whole) before the damage to $lost"
tshark -r damaged.pcapng 2>/dev/null | grep -q 'Dropped traces count' ||
  fail "tshark shows no warning"

# Leave a piece out.
{ head -c 2000 whole.bin; tail -c +2501 whole.bin; } >gap.bin
decode gap
[ "$(dropped gap)" -gt "$(dropped whole)" ] || fail "a gap is not in the summary"
