#!/usr/bin/env bash
# What is written is the same as on any other system: no byte is translated, in files
# or on standard output.
. "$(dirname "$0")/../checks.sh"
. "$(dirname "$0")/wine.sh"

for database in database.json database.tar.gz; do
  "$native" simulate "$session" --trace trace.bin --database $database >/dev/null
  windows simulate "$session" --trace w_trace.bin --database w_$database >/dev/null
  same trace.bin w_trace.bin "the traces"
  same $database w_$database "the databases"
done
grep -aq $'\n' trace.bin || fail "the trace holds no byte that could be translated"

"$native" decode trace.bin --database database.tar.gz -o native.pcapng 2>expected.txt
windows decode trace.bin --database database.tar.gz -o windows.pcapng 2>summary.txt
same_capture native.pcapng windows.pcapng "the captures"
[ "$(without_time summary.txt | sed 's/^windows/native/')" = "$(without_time expected.txt)" ] ||
  fail "the summaries differ" "$(diff summary.txt expected.txt)"
windows decode trace.bin --database database.tar.gz -o - >piped.pcapng 2>summary.txt
same_capture native.pcapng piped.pcapng "file and standard output"

# Here the database's own path is written, too.
own_path='s/"modem_db_path":"[^"]*"//'
"$native" decode trace.bin --database database.json --format jsonl --raw-packets -o native.jsonl 2>summary.txt
sed "$own_path" native.jsonl >expected.jsonl
windows decode trace.bin --database database.json --format jsonl --raw-packets \
  -o windows.jsonl 2>summary.txt
sed "$own_path" windows.jsonl >as_file.jsonl
same expected.jsonl as_file.jsonl "the packets"
windows decode trace.bin --database database.json --format jsonl --raw-packets \
  -o - 2>summary.txt | sed "$own_path" >piped.jsonl
same expected.jsonl piped.jsonl "the packets on standard output"
