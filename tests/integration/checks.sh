# shellcheck shell=bash
# checks.sh - what the scripts here share; to be sourced. Leads into a directory
# of the test's own, which goes away with it.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "${work:?}" "${work:?}".*' EXIT
cd "$work"
export HOME=$work LC_ALL=C.UTF-8 # no personal settings of Wireshark
# Nor defaults for options.
export VELTRA_CONFIG=
unset VELTRA_CACHE VELTRA_LOCATION VELTRA_ROOT VELTRA_PLUGIN

fail() {
  printf '%s\n' "$@"
  exit 1
}

# same A B WHAT: the same bytes, and some; one of the two may be a pipe.
same() {
  [ -s "$1" ] || [ -s "$2" ] || fail "$3: nothing to compare"
  cmp -s "$1" "$2" || fail "$3 differ" "$(diff -a "$1" "$2" | head -n 20 | cut -c 1-200)"
}

# same_capture A B WHAT: the same packets, whatever the captures say about themselves.
same_capture() {
  tshark -r "$1" -V -x >"$work.a" 2>/dev/null || fail "$3: $1 is not whole"
  tshark -r "$2" -V -x >"$work.b" 2>/dev/null || fail "$3: $2 is not whole"
  same "$work.a" "$work.b" "$3"
}

# refused CODE TEXT COMMAND...: the command ends with the exit code, one line on
# stderr that holds the text, nothing on stdout, and makes or changes no file.
refused() {
  local code=$1 text=$2 got=0 before
  shift 2
  before=$(listing)
  "$@" >"$work.out" 2>"$work.err" || got=$?
  [ "$got" = "$code" ] || fail "exit code $got instead of $code: $*" "$(cat "$work.err")"
  [ "$(wc -l <"$work.err")" = 1 ] || fail "not one line: $*" "$(cat "$work.err")"
  grep -qF -- "$text" "$work.err" || fail "no \"$text\": $*" "$(cat "$work.err")"
  [ ! -s "$work.out" ] || fail "output on stdout: $*"
  [ "$(listing)" = "$before" ] || fail "files were made or changed: $*" "$before" "$(listing)"
  rm -f "$work.out" "$work.err"
}
# Without what other programs keep in the home directory.
listing() { find . -name '.?*' -prune -o -printf '%p %s %T@\n' | grep -v '^\. ' | sort; }
