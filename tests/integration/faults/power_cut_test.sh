#!/usr/bin/env bash
# The power goes after each call in turn that changes a file, and only synced bytes are
# left: a file under its name is the old one or the whole new one, the piece that a
# recording was writing the beginning of one; and all are whole and new when the program
# has ended.
#   power_cut_test.sh VELTRA SESSION.tsv POWER_CUT.so
# Of a recording about VELTRA_POWER_CUTS calls (30), evenly spread, are tried; 0: all.
. "$(dirname "$0")/faults.sh"
cuts=${VELTRA_POWER_CUTS-30}
# Both are removed with the directory.
disk=$work.disk
lost=$work.lost # what the files were before the power went
runs=0

# powered CUT COMMAND...: runs the command until the power goes, and starts again: each file
# that it made has what the disk has of it.
powered() {
  local cut=$1 inode name
  local -A before=()
  shift
  rm -rf "$disk" "$lost"
  mkdir "$disk" "$lost"
  while read -r inode; do before[$inode]=1; done < <(find . -type f -printf '%i\n')
  code=0
  # The shell reports programs that were killed.
  { POWER_CUT="$cut" POWER_DISK="$disk" LD_PRELOAD="$library" "$@" >"$work.out" 2>"$work.err"; } \
    2>/dev/null || code=$?
  while read -r inode name; do
    [ -z "${before[$inode]-}" ] || continue
    cp --parents "$name" "$lost"
    if [ -e "$disk/$inode" ]; then cat "$disk/$inode" >"$name"; else : >"$name"; fi
  done < <(find . -type f -printf '%i %P\n')
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

# What holds of a recording's files after call $cut.
judge_recording() {
  local name raw size
  for name in m_*.jsonl m_*.json $(cat "$work.out"); do
    [ ! -e "$name" ] || cmp -s "$name" "$lost/$name" || fail "a torn $name after call $cut"
  done
  # Each but the latest raw piece had its end. An empty one was only tried for whether it
  # can be written.
  raw=()
  for name in m_*.trace; do [ ! -s "$lost/$name" ] || raw+=("$name"); done
  [ ${#raw[@]} -gt 0 ] || return 0
  for name in "${raw[@]:0:${#raw[@]}-1}"; do
    cmp -s "$name" "$lost/$name" || fail "a torn $name after call $cut, and ${raw[-1]} was begun"
  done
  cat "${raw[@]}" >joined.bin
  size=$(stat -c %s joined.bin)
  cmp -s -n "$size" joined.bin sent.bin || fail "other bytes in the raw pieces after call $cut"
}

# A recording in pieces, which ends when the modem goes. Its calls differ from run to run with
# the pieces in which the bytes come.
try_recording() {
  local cut=0 count step=1
  local -a capture=("$veltra" capture --port line --database database.gz --raw m.trace
    --format jsonl -o m.jsonl -b filesize:1 -b printname:-)
  "$veltra" simulate session.tsv --trace sent.bin --database sent.json --repeat 20 >/dev/null
  shopt -s nullglob
  : >"$work.out"
  prepare() {
    rm -f m_*
    begin_modem --repeat 20
  }
  # On a busy machine everything may come at once, which makes a single piece.
  until [ -s "$work.out" ] && [ "$(wc -l <"$work.out")" -ge 4 ]; do
    prepare
    powered 0 "${capture[@]}"
    wait
    [ $code = 5 ] || fail "exit code $code of a recording" "$(cat "$work.err")"
    judge_recording
    cmp -s joined.bin sent.bin || fail "the recording is not whole"
  done
  [ ! -e "$disk/unsynced" ] || fail "a name of a recording is not synced"
  count=$(cat "$disk/count")
  [ "$cuts" = 0 ] || step=$((count / cuts + 1))
  for ((cut = 1; cut <= count; cut += step)); do
    prepare
    powered $cut "${capture[@]}"
    [ $code = 137 ] || [ $code = 5 ] || fail "exit code $code at call $cut" "$(cat "$work.err")"
    judge_recording
    end_modem
  done

  # A raw trace alone, whose name nothing else brings to the disk.
  begin_modem
  powered 0 "$veltra" capture --port line --raw alone.trace
  wait
  same alone.trace whole/trace.bin "after capture, a raw trace alone"
  [ ! -e "$disk/unsynced" ] || fail "the name of a raw trace is not synced"
}

each_command try_all
try_recording
echo "$runs runs"
