#!/usr/bin/env bash
# However the trace is cut into chunks, the capture is the same.
#   chunk_size_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.json --repeat 3 >/dev/null
for size in 1 7 1024 1048576; do
  for format in pcapng jsonl; do
    "$veltra" decode trace.bin --database database.json --chunk-size $size --format $format \
      -o $size.$format 2>summary.txt || fail "chunk size $size" "$(cat summary.txt)"
  done
  same_capture 1.pcapng $size.pcapng "the captures of chunk sizes 1 and $size"
  # Sequence numbers count chunks, too, and metadata contain how far the input was read.
  sed -E 's/^\{"sequence":[0-9]+,//; s/,"metadata":.*//' $size.jsonl >$size.txt
  same 1.txt $size.txt "the packets of chunk sizes 1 and $size"
done
