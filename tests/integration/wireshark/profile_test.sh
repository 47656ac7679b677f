#!/usr/bin/env bash
# Wireshark knows every field and filter of the profile, and each finds what it is for.
#   profile_test.sh VELTRA SESSION.tsv
veltra=$1 session=$2
. "$(dirname "$0")/user.sh"
profile="$work/bin/wireshark/LTE modem"

# The session, a command that fails, and an attach reject.
{
  cut -f 1-3 "$session"
  printf '400000\tat\t%s\n' 2b434d45204552524f523a20330d0a
  printf '410000\tnas-eps\t%s\n' 07440f
} >session.tsv
"$veltra" simulate session.tsv --trace trace.bin --database database.json >/dev/null
"$veltra" decode trace.bin -d database.json -o capture.pcapng 2>/dev/null

# matches FILTER: how many packets it shows; fails for one that Wireshark does not take.
matches() {
  tshark -r capture.pcapng -Y "$1" >matches.txt 2>tshark.txt || fail "$1" "$(cat tshark.txt)"
  ! grep -qiE 'deprecated|neither|not a valid' tshark.txt || fail "$1" "$(cat tshark.txt)"
  wc -l <matches.txt
}

tshark -G fields 2>/dev/null | cut -f 3 >fields.txt
columns=$(grep -o '%Cus:[^"]*' "$profile/preferences" | sed -E 's/^%Cus:(.*):0:[RU]$/\1/; s/ or /\n/g')
[ "$(wc -l <<<"$columns")" -ge 10 ] || fail "no columns" "$columns"
for field in $columns; do
  grep -qxF "$field" fields.txt || fail "the column's field $field is not known"
done

declare -A shown
while IFS=@ read -r _ name filter _; do
  shown[$name]=$(matches "$filter")
done < <(grep '^@' "$profile/colorfilters")
while IFS=$'\t' read -r name filter; do
  shown["button $name"]=$(matches "$filter")
done < <(sed -nE 's/^"TRUE","([^"]*)","([^"]*)",.*/\1\t\2/p' "$profile/dfilter_buttons" | sed 's/\\x22/"/g')
[ ${#shown[@]} = 14 ] || fail "not all filters were found: ${!shown[*]}"

# expect NAME COUNT
expect() { [ "${shown[$1]}" = "$2" ] || fail "$1 shows ${shown[$1]} packets, not $2"; }
for name in Losses 'button Losses' 'AT errors' 'button AT errors' 'Rejects and failures' \
  'button Rejects' 'button Paging'; do
  expect "$name" 1
done
expect 'button Attach and TAU' 4
expect 'button Handover' 0
expect 'User plane' 17

# Wireshark takes the profile, and signalling fills its columns.
"${as_user[@]}" "$veltra" wireshark install >/dev/null
chmod 644 capture.pcapng
"${as_user[@]}" tshark -C 'LTE modem' --color -r capture.pcapng >columns.txt 2>tshark.txt ||
  fail "the profile is refused" "$(cat tshark.txt)"
! grep -qiE 'error|warn|unable' tshark.txt || fail "a word about the profile" "$(cat tshark.txt)"
sed 's/\x1b\[[0-9;]*m//g' columns.txt >plain.txt
grep -qE 'rrc +Inbound +LTE RRC PCCH +Paging' plain.txt || fail "paging" "$(cat plain.txt)"
grep -qE 'rrc +Outbound +LTE RRC UL_CCCH +mo-Data +RRCConnectionRequest' plain.txt ||
  fail "a cause" "$(cat plain.txt)"
grep -qE 'nas +Inbound +NAS-EPS +5 +Attach accept' plain.txt ||
  fail "a bearer" "$(cat plain.txt)"
