#!/usr/bin/env bash
# The Wine that the tests of a run share.
#   wine_session.sh begin PREFIX WINDOWS_COMMAND...   end PREFIX
# PREFIX is Wine's registry and drives, quick to begin with once they are there.
set -euo pipefail
step=$1
export WINEPREFIX=$2
shift 2

# The server that all programs of a prefix share is started apart from them, and stays
# for the next: the first program would otherwise hand its output on to it, and seem
# to go on for as long as any other runs.
end_server() {
  wineserver -k >/dev/null 2>&1 || true
  wineserver -w
}

case $step in
  begin)
    mkdir -p "$WINEPREFIX"
    end_server
    # Should nobody end it, it ends by itself so many seconds after its last program.
    wineserver -p60 </dev/null >/dev/null 2>&1
    "$@" wineboot --init </dev/null >"$WINEPREFIX/wineboot.log" 2>&1
    ;;
  end) end_server ;;
esac
