#!/usr/bin/env bash
# A capture says where it comes from, and `veltra --version --verbose` what it would say.
#   provenance_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2
usage=2

mkdir here
cd here
"$veltra" simulate "$session" --trace trace.bin --database database.tar.gz >simulated.txt
uuid=$(grep -oE '[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}' simulated.txt)
digest=$(sha256sum database.tar.gz | cut -d ' ' -f 1)
database="database: database.tar.gz, UUID $uuid, SHA-256 $digest"
"$veltra" decode trace.bin --database database.tar.gz 2>summary.txt

# has PATTERN: a line of capinfos.
has() { grep -qxE "$1" capinfos.txt || fail "capinfos shows no \"$1\"" "$(cat capinfos.txt)"; }
capinfos trace.pcapng >capinfos.txt 2>&1
has "Capture comment: +trace: $PWD/trace.bin"
has "Capture comment: +trace size: $(stat -c %s trace.bin) bytes"
has 'Capture comment: +plug-in: /.*/kovax-veltra-source.kovax, version [0-9.]+'
has 'Capture comment: +decoder: /.*/libdekodrix.so, SHA-256 [0-9a-f]{64}'
has 'Capture comment: +options: --time-base modem --chunk-size 65536'
has "Capture comment: +$database"
has 'Capture application: veltra [0-9.]+'
has ' +Description = NAS messages \(3GPP TS 24.301\)'

# A stream's header is there before the database is known.
"$veltra" decode trace.bin --database database.tar.gz -o - 2>summary.txt >stream.pcapng
capinfos stream.pcapng >capinfos.txt 2>&1
has "Capture comment: +trace: $PWD/trace.bin"
has " +Comment = $database"

# The same of this machine.
"$veltra" --version --verbose >version.txt
capinfos trace.pcapng 2>&1 | sed -nE 's/^Capture comment: +((plug-in|decoder): .*)/\1/p' >expected.txt
same expected.txt <(tail -n +2 version.txt) "--version --verbose and the capture"
"$veltra" --version | grep -qx 'veltra [0-9.]*' || fail "--version is not one line"

# The capture of the same trace may be replaced, of another one only on request.
before=$(stat -c %i trace.pcapng)
"$veltra" decode trace.bin --database database.tar.gz --time-base 2024-05-01T12:00:00Z 2>summary.txt
[ "$(stat -c %i trace.pcapng)" != "$before" ] || fail "the capture is the earlier one"
echo >>trace.bin
mv trace.bin "$work"
mv trace.pcapng database.tar.gz "$work"
cd "$work"
refused $usage 'trace.pcapng exists and may come from another trace' \
  "$veltra" decode trace.bin --database database.tar.gz
truncate -s -1 trace.bin # as it was, in another directory
"$veltra" decode trace.bin --database database.tar.gz 2>summary.txt
