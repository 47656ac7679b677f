#!/usr/bin/env bash
# One system call of the program fails, each in turn: the program ends by itself, without a
# crash, with one line that says what failed; or with exit code 0 and the output that it
# always has. A file has its name only when it is whole.
#   failing_calls_test.sh VELTRA SESSION.tsv FAILING_CALLS.so
# Tries about VELTRA_FAILING_CALLS calls (80) of each command, evenly spread; 0: all.
. "$(dirname "$0")/faults.sh"
budget=${VELTRA_FAILING_CALLS-80}
findings=0 runs=0

finding() {
  findings=$((findings + 1))
  printf '%s: %s\n' "$case" "$1"
  head -c 600 "$work.err"
  [ $findings -lt 20 ] || exit 1
}

# What has to be the same in two outputs: of a capture all but its first block, which says
# where it comes from as far as that could be read.
core() {
  case $1 in
    *.pcapng) tail -c +$(($(od -An -tu4 -j4 -N4 "$1") + 1)) "$1" ;;
    *) cat "$1" ;;
  esac
}
is_whole() { cmp -s <(core "$1") <(core "whole/$1"); }

# faulty KIND CALL ON COMMAND...: runs the command; its exit code is in $code.
faulty() {
  local kind=$1 call=$2 on=$3
  shift 3
  code=0
  timeout 100 env ${on:+FAILING_ON=1} FAILING_WITH="$kind" FAILING_CALL="$call" \
    FAILING_COUNT="$work.count" LD_PRELOAD="$library" "$@" >"$work.out" 2>"$work.err" || code=$?
  runs=$((runs + 1))
}

# What holds for every command.
judge() {
  [ $code -lt 124 ] || [ $code = 130 ] || finding "crashed or hung: exit code $code"
  [ $code != 0 ] || return 0
  grep -q '^veltra: ' "$work.err" || finding "says nothing"
  ! grep -q 'internal error' "$work.err" || finding "an internal error"
  [[ $case != *EAGAIN* ]] || grep -q 'cannot start a thread' "$work.err" ||
    finding "does not name the thread"
}

# Of commands that write `outputs`, which are compared with whole/NAME.
judge_outputs() {
  judge
  # libcurl opens and reads a file by itself, and the standard library a directory.
  if [ $code != 0 ] && [[ $case == *EINTR* || $case == *SHORT* ]] &&
    [[ $case != *"(open)" && $case != *"(read)" && $case != *"(openat)" ]]; then
    finding "exit code $code, an interrupted call is not an end"
  fi
  local name
  for name in "${outputs[@]}"; do
    if [ $code = 0 ]; then
      is_whole "$name" || finding "exit code 0 and another $name"
    elif [ -e "$name" ] && ! cmp -s "$name" old && ! is_whole "$name"; then
      finding "exit code $code and a part of $name under its name"
    fi
  done
}

# Of a capture, which ends when the modem goes: everything before a failure is kept.
judge_capture() {
  judge
  [ $code != 0 ] || finding "exit code 0 of a lost line"
  local size=0
  [ ! -e raw.bin ] || size=$(stat -c %s raw.bin)
  cmp -s -n "$size" raw.bin whole/trace.bin || [ "$size" = 0 ] || finding "another raw trace"
  if [[ $case == *EINTR* || $case == *SHORT* ]] || [ "$(grep -c '^veltra: ' "$work.err")" = 1 ] &&
    grep -q '^veltra: line was lost (port closed: No such device' "$work.err"; then
    cmp -s raw.bin whole/trace.bin || finding "$size bytes of raw trace"
  fi
  end_modem
}

# try_all JUDGE COMMAND...: every call of the command, by the kinds of failure; before each run `prepare` is called.
try_all() {
  local kind on count step call
  local judge=$1
  shift
  local before=$findings
  case="${*:2:2}: nothing fails"
  prepare
  faulty EIO 0 '' "$@"
  $judge
  [ $findings = $before ] || fail "$* does not work" "$(cat "$work.err")"
  for mode in EIO EIO+ ENOSPC ENOSPC+ ENOMEM EINTR SHORT EAGAIN; do
    kind=${mode%+}
    on=${mode#"$kind"}
    prepare
    faulty "$kind" 0 '' "$@"
    read -r count _ <"$work.count"
    step=1
    [ "$budget" = 0 ] || step=$((count * 8 / budget + 1))
    for ((call = 1; call <= count; call += step)); do
      prepare
      faulty "$kind" $call "$on" "$@"
      case="${*:2:2}: $mode at call $call of $count ($(cut -d ' ' -f 2- "$work.count"))"
      $judge
    done
  done
}

each_command try_all judge_outputs

# capture, from a line; fewer calls, for each run has a modem of its own
[ "$budget" = 0 ] || budget=$((budget / 3 + 1))
prepare() {
  rm -f raw.bin* out.jsonl
  begin_modem
}
try_all judge_capture "$veltra" capture --port line --database database.gz --raw raw.bin \
  --format jsonl -o out.jsonl

echo "$runs runs, $findings findings"
[ $findings = 0 ]
