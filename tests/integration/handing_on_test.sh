#!/usr/bin/env bash
# What a capture contains can be chosen before it is handed on.
#   handing_on_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2
usage=2

"$veltra" simulate "$session" --trace trace.bin --database database.json >/dev/null
decode=("$veltra" decode trace.bin --database database.json)
"${decode[@]}" -o all.pcapng 2>summary.txt

# Layers, by the names of their interfaces.
"${decode[@]}" --layers nas,rrc -o nas.pcapng 2>summary.txt
interfaces() { tshark -r "$1" -T fields -e frame.interface_name 2>/dev/null | sort | uniq -c; }
interfaces all.pcapng | grep -E ' (nas|rrc)$' >expected.txt
interfaces nas.pcapng >got.txt
same expected.txt got.txt "the packets of two layers"
grep -q 'of other layers left out' summary.txt || fail "nothing of the rest" "$(cat summary.txt)"
capinfos -k nas.pcapng 2>/dev/null | grep -q -- '--layers rrc,nas' ||
  fail "the capture does not name its layers"
"${decode[@]}" --layers nas -f jsonl -o nas.jsonl 2>summary.txt
[ "$(grep -c '"layer":"nas-eps"' nas.jsonl)" = "$(grep -cv '"kind"' nas.jsonl)" ] ||
  fail "other layers" "$(cut -c 1-100 nas.jsonl)"
grep -q '"kind":"dropped"' nas.jsonl || fail "no losses of the layers that are left out"

# Secrets, in the capture or beside it.
http() { tshark -r "$1" "${@:2}" -Y http 2>/dev/null | grep -c 'GET /status.json' || true; }
[ "$(http all.pcapng)" = 1 ] || fail "the capture does not decrypt"
"${decode[@]}" --no-secrets --keylog keys.txt -o none.pcapng 2>summary.txt
[ "$(http none.pcapng)" = 0 ] || fail "the capture decrypts without secrets"
[ "$(http none.pcapng -o tls.keylog_file:keys.txt)" = 1 ] ||
  fail "the key log does not decrypt" "$(cat keys.txt)"
grep -q '^keys.txt: .* of TLS secrets$' summary.txt || fail "no word of the keys" "$(cat summary.txt)"
! grep -aq CLIENT_RANDOM none.pcapng || fail "secrets in the capture"

# The name's ending chooses.
"${decode[@]}" -o lines.jsonl 2>summary.txt
"${decode[@]}" -f jsonl -o plain 2>summary.txt
same lines.jsonl plain "JSON Lines by name and by option"
"${decode[@]}" -o lines.jsonl.gz 2>summary.txt
gzip -dc lines.jsonl.gz >lines.txt
same lines.jsonl lines.txt "lines and compressed lines"
"${decode[@]}" -o all.pcapng.gz 2>summary.txt
same_capture all.pcapng all.pcapng.gz "the capture and the compressed one"
"$veltra" simulate "$session" --trace long.bin --database database.json --repeat 400 >/dev/null
"$veltra" decode long.bin --database database.json -o long.pcapng 2>summary.txt
"$veltra" decode long.bin --database database.json -o long.pcapng.gz 2>summary.txt
tshark -r long.pcapng 2>/dev/null >a.txt
tshark -r long.pcapng.gz 2>/dev/null >b.txt
same a.txt b.txt "a long capture and the compressed one"
[ $(($(stat -c %s long.pcapng.gz) * 2)) -lt "$(stat -c %s long.pcapng)" ] || fail "not compressed"
refused $usage 'end the name in .pcapng or .jsonl' "${decode[@]}" -o a.pcap
refused $usage 'change one of the two' "${decode[@]}" -f jsonl -o a.pcapng
refused $usage 'cannot be two outputs' "${decode[@]}" -o a.pcapng --keylog a.pcapng
refused $usage 'would replace the input' "${decode[@]}" -o a.pcapng --keylog trace.bin
"${decode[@]}" --layers tls -o a.pcapng 2>err.txt && fail "a layer that is not an interface"
grep -q 'tls not in {ip,rrc,nas,at,other,raw}' err.txt || fail "no word of the layers" "$(cat err.txt)"
