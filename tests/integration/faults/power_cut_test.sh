#!/usr/bin/env bash
# The power goes after each call in turn that changes a file, and only synced bytes are
# left: a file under its name is the old one or the whole new one; and all are new ones
# when the program has ended.
#   power_cut_test.sh VELTRA SESSION.tsv POWER_CUT.so
. "$(dirname "$0")/../checks.sh"
veltra=$1 session=$2 library=$3
disk=$work.disk # removed with the directory
runs=0

# powered CUT COMMAND...: runs the command until the power goes, and starts again: each file
# that it made has what the disk has of it.
powered() {
  local cut=$1 inode name
  local -A before=()
  shift
  rm -rf "$disk"
  mkdir "$disk"
  while read -r inode; do before[$inode]=1; done < <(find . -type f -printf '%i\n')
  code=0
  # The shell reports programs that were killed.
  { POWER_CUT="$cut" POWER_DISK="$disk" LD_PRELOAD="$library" "$@" >"$work.out" 2>"$work.err"; } \
    2>/dev/null || code=$?
  while read -r inode name; do
    [ -z "${before[$inode]-}" ] || continue
    if [ -e "$disk/$inode" ]; then cat "$disk/$inode" >"$name"; else : >"$name"; fi
  done < <(find . -type f -printf '%i %p\n')
  runs=$((runs + 1))
}

# try_all COMMAND...: `outputs` are compared with whole/NAME and "old"; a file that was not
# there before may be missing.
try_all() {
  local name count cut
  prepare
  powered 0 "$@"
  [ $code = 0 ] || fail "$* does not work" "$(cat "$work.err")"
  for name in "${outputs[@]}"; do same "$name" "whole/$name" "after $1 $2, $name"; done
  [ ! -e "$disk/unsynced" ] || fail "$2: a name is not synced"
  count=$(cat "$disk/count")
  [ "$count" -ge 4 ] || fail "$2: only $count calls"
  for ((cut = 1; cut <= count; ++cut)); do
    prepare
    powered $cut "$@"
    [ $code = 137 ] || fail "$2: exit code $code at call $cut of $count" "$(cat "$work.err")"
    for name in "${outputs[@]}"; do
      [ ! -e "$name" ] || cmp -s "$name" old || cmp -s "$name" "whole/$name" ||
        fail "$2: a torn $name of $(stat -c %s "$name") bytes after call $cut of $count"
    done
  done
}

echo old >old
mkdir whole
cp "$session" session.tsv
"$veltra" simulate session.tsv --trace whole/trace.bin --database whole/database.gz >/dev/null
outputs=(trace.bin database.gz)
prepare() { cp old trace.bin && cp old database.gz; }
try_all "$veltra" simulate session.tsv --trace trace.bin --database database.gz

cp whole/trace.bin whole/database.gz .
for format in jsonl pcapng; do
  "$veltra" decode trace.bin --database database.gz --format $format -o out.$format 2>/dev/null
  cp out.$format whole/
  outputs=(out.$format)
  prepare() { cp old out.$format; }
  try_all "$veltra" decode trace.bin --database database.gz --format $format -o out.$format
done

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
try_all "$veltra" db sync --cache cache --update --location '${root}config.json' \
  --root "file://$work/origin"
echo "$runs runs"
