#!/usr/bin/env bash
# The service as systemd's own tools see it.
#   service_test.sh SOURCE_DIR VELTRA
. "$(dirname "$0")/../checks.sh"
source=$1 veltra=$2
command -v systemd-analyze >/dev/null || { echo "no systemd-analyze here"; exit 77; }

# The program and the user are where the package puts them.
sed -e "s|/usr/bin/veltra|$veltra|" "$source/packaging/systemd/veltra-capture@.service" \
  >veltra-capture@modem.service
systemd-analyze verify --man=no ./veltra-capture@modem.service >verify.txt 2>&1 || true
! grep -E 'veltra-capture' verify.txt || fail "the unit has faults" "$(cat verify.txt)"

# What a crash left becomes whole before the next start, and another recorder's stays.
recover=$(sed -n 's/^ExecStartPre=-//p' veltra-capture@modem.service | sed 's/\$\$/$/g; s/%i/modem/')
echo '{}' >capture-serial-by-id-modem_1.jsonl.01234567.part
echo '{}' >capture-serial-by-id-other_1.jsonl.01234567.part
eval "$recover" 2>recover.txt || fail "nothing is recovered" "$(cat recover.txt)"
[ -s capture-serial-by-id-modem_1.jsonl ] || fail "the capture is not recovered" "$(cat recover.txt)"
[ -e capture-serial-by-id-other_1.jsonl.01234567.part ] || fail "another recorder's part is gone"

# What a service may still do when it is attacked, from 0.0 (nothing) to 10.0; as root or not
# the tool reads the file alone.
exposure=$(systemd-analyze security --offline=true --no-pager ./veltra-capture@modem.service |
  sed -nE 's/.*Overall exposure level.*: ([0-9.]+) .*/\1/p')
[ -n "$exposure" ] || fail "systemd-analyze gives no exposure level"
awk -v e="$exposure" 'BEGIN { exit !(e < 3.0) }' || fail "exposure level $exposure"
echo "exposure level $exposure"
