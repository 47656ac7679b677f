# shellcheck shell=bash
# faults.sh - what the scripts here share; to be sourced with their arguments:
#   VELTRA SESSION.tsv LIBRARY.so
. "$(dirname "$0")/../checks.sh"
veltra=$1 session=$2 library=$3

# Every modem that was begun here ends with the script.
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work" "$work".*' EXIT

# each_command TRY...: calls TRY... with each command that writes files, as `"$veltra" NAME
# ARGUMENT...`. `prepare` makes the place for a run of it; the files are named in `outputs`,
# and what they are after a run that worked is in whole/. What is there before is "old".
each_command() {
  echo old >old
  mkdir whole

  # From a session to a trace and its database.
  cp "$session" session.tsv
  "$veltra" simulate session.tsv --trace whole/trace.bin --database whole/database.gz >/dev/null
  outputs=(trace.bin database.gz)
  prepare() { cp old trace.bin && cp old database.gz; }
  "$@" "$veltra" simulate session.tsv --trace trace.bin --database database.gz

  # A trace, with a database by name.
  cp whole/trace.bin whole/database.gz .
  for format in jsonl pcapng; do
    "$veltra" decode trace.bin --database database.gz --format $format -o out.$format 2>/dev/null
    cp out.$format whole/
    outputs=(out.$format)
    prepare() { cp old "${outputs[0]}"; }
    "$@" "$veltra" decode trace.bin --database database.gz --format $format -o out.$format
  done

  # A cache, from a directory.
  local uuid
  uuid=$("$veltra" db show database.gz | sed -n 's/^ *UUID *//p')
  mkdir origin
  cp database.gz origin/
  printf '{"firmwares": {"updated_timestamp": "2024-01-01 00:00:00", "devices": [{"type": "modem",
    "versions": [{"version": "1", "uuid": "%s", "database": {"path": "${root}database.gz",
    "sha256": "%s"}}]}]}}' "$uuid" "$(sha256sum database.gz | cut -d ' ' -f 1)" >origin/config.json
  mkdir -p "whole/cache/modem/1/$uuid"
  cp origin/config.json whole/cache/
  cp database.gz "whole/cache/modem/1/$uuid/"
  outputs=(cache/config.json "cache/modem/1/$uuid/database.gz")
  prepare() { rm -rf cache; }
  "$@" "$veltra" db sync --cache cache --update --location '${root}config.json' \
    --root "file://$work/origin"
}

# begin_modem OPTION...: a modem that sends the session along the line "line" as fast as
# it is read, after each_command.
begin_modem() {
  rm -f line
  "$veltra" simulate session.tsv --pty line --speed max --database modem.json "$@" >/dev/null 2>&1 &
  until [ -e line ]; do
    kill -0 $! 2>/dev/null || fail "the modem does not run"
    sleep 0.005
  done
}

# One that nobody reads would wait forever.
end_modem() {
  kill %% 2>/dev/null || true
  wait
}
