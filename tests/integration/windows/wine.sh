# shellcheck shell=bash
# wine.sh - what the scripts here share; to be sourced after ../checks.sh or what
# includes it. Windows programs under Wine, with this machine's own files on drive Z:
# and the working directory as it is.
#   SCRIPT NATIVE_VELTRA SESSION.tsv WINE_PREFIX WINDOWS_COMMAND...
# NATIVE_VELTRA is built for this machine; it gives what is expected, and plays the
# virtual modem. WINDOWS_COMMAND runs veltra.exe.
native=$1 session=$2 prefix=$3
shift 3
wine=("$@")
[ -x "$native" ] || fail "there is no $native, which these tests need as well: build this tree for \
this machine and name its build directory with VELTRA_NATIVE_BUILD, or run ./test --preset \
windows, which does"

# windows ARGUMENT...: runs veltra.exe. On a busy machine Wine gives up one program in some
# hundreds before it begins, with exit code 1 and without a word on standard error. veltra.exe
# never ends like that, so it is started again. Ctrl-C is handed on.
windows() {
  local status child words
  for _ in 1 2 3; do
    words=$(stat -Lc %s /dev/fd/2)
    "${wine[@]}" "$@" <&0 &
    child=$!
    trap 'kill -INT "$child"' INT
    status=0
    wait "$child" || status=$?
    while kill -0 "$child" 2>/dev/null; do # the wait ended with a signal
      status=0
      wait "$child" || status=$?
    done
    trap - INT
    [ "$status" = 1 ] && [ -f /dev/fd/2 ] && [ "$(stat -Lc %s /dev/fd/2)" = "$words" ] || break
  done
  return "$status"
}

# The server that all programs share outlives them by some seconds, and holds open
# what the first of them had open: nothing that is waited for or read here.
windows --help >/dev/null 2>help.txt </dev/null || fail "veltra.exe does not run"

# The lines of a text that Windows has written, as lines of this machine.
lines() { tr -d '\r' <"$1"; }

# without_time FILE: a summary without what no two runs have in common.
without_time() { lines "$1" | sed -E 's/^(  time +).*/\1/'; }
