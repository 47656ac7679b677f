#!/usr/bin/env bash
# A capture on standard output has the file's packets, and tshark reads it from a pipe.
#   stdout_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2

"$veltra" simulate "$session" --trace trace.bin --database database.tar.gz >/dev/null
"$veltra" decode trace.bin --database database.tar.gz -o file.pcapng 2>summary.txt
"$veltra" decode trace.bin --database database.tar.gz -o - 2>summary.txt >stdout.pcapng
grep -q '^standard output: ' summary.txt || fail "no summary beside a capture on stdout"
same_capture file.pcapng stdout.pcapng "file and standard output"
"$veltra" decode trace.bin --database database.tar.gz -o /dev/stdout 2>summary.txt | cat >device.pcapng
same stdout.pcapng device.pcapng "standard output and /dev/stdout"
[ "$(ls | wc -l)" = 6 ] || fail "other files were left" "$(ls)"

"$veltra" decode trace.bin --database database.tar.gz -o - 2>summary.txt |
  tshark -r - -T fields -e frame.number -e _ws.col.Protocol 2>tshark.txt >piped.txt ||
  fail "tshark does not read the pipe" "$(cat tshark.txt)"
tshark -r file.pcapng -T fields -e frame.number -e _ws.col.Protocol 2>tshark.txt >read.txt
same read.txt piped.txt "tshark's readings"
