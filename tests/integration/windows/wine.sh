# shellcheck shell=bash
# wine.sh - what the scripts here share; to be sourced after ../checks.sh or what
# includes it. Windows programs under Wine, with this machine's own files on drive Z:
# and the working directory as it is.
#   SCRIPT NATIVE_VELTRA SESSION.tsv WINE_PREFIX WINDOWS_COMMAND...
# NATIVE_VELTRA is built for this machine; it gives what is expected, and plays the
# virtual modem. WINDOWS_COMMAND runs veltra.exe.
native=$1 session=$2 prefix=$3
shift 3
windows=("$@")
[ -x "$native" ] || fail "there is no $native, which these tests need as well: build this tree for \
this machine and name its build directory with VELTRA_NATIVE_BUILD, or run ./test --preset \
windows, which does"

# The server that all programs share outlives them by some seconds, and holds open
# what the first of them had open: nothing that is waited for or read here.
"${windows[@]}" --help >/dev/null 2>&1 </dev/null || fail "veltra.exe does not run"

# The lines of a text that Windows has written, as lines of this machine.
lines() { tr -d '\r' <"$1"; }

# without_time FILE: a summary without what no two runs have in common.
without_time() { lines "$1" | sed -E 's/^(  time +).*/\1/'; }
