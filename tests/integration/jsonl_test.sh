#!/usr/bin/env bash
# JSON Lines hold the session's messages, one object a line, in order and whole.
#   jsonl_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json >/dev/null
"$veltra" decode trace.bin --database database.json --format jsonl 2>summary.txt
messages=$(grep -vc '^#' "$session")
[ "$(wc -l <trace.jsonl)" = "$messages" ] || fail "not one line a message"

# Time, layer and payload are those of the session.
sed -nE 's/^\{"sequence":[0-9]+,"time":([0-9]+),"layer":"([^"]*)","category":"(network|tls)","payload":"([0-9a-f]*)","metadata":\{"data_offset":[0-9]+,"data_size":[0-9]+,"modem_db_path":"[^"]+","modem_db_uuid":"[-0-9a-f]+"\}(,"direction":"(sent|received)")?(,"kind":"at","text":".*"|,"kind":"dropped","count":[0-9]+)?\}$/\1\t\2\t\4/p' \
  trace.jsonl >got.txt
awk -F'\t' -v OFS='\t' '!/^#/ {print $1 * 1000, $2, $3}' "$session" >expected.txt
same expected.txt got.txt "the messages"

# The numbers rise, and the raw packets fill the gaps.
"$veltra" decode trace.bin --database database.json --format jsonl --raw-packets --chunk-size 100 \
  -o - >all.jsonl 2>summary.txt
sed -nE 's/^\{"sequence":([0-9]+),.*/\1/p' all.jsonl >numbers.txt
same <(seq "$(wc -l <all.jsonl)") numbers.txt "the sequence numbers"
sed -nE 's/.*"layer":"modem_trace","category":"binary","payload":"([0-9a-f]*)".*/\1/p' all.jsonl |
  tr -d '\n' >raw.txt
same <(od -An -v -tx1 trace.bin | tr -d ' \n') raw.txt "the raw bytes"
