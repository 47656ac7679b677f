#!/usr/bin/env bash
# Checks which room includes which: see "Rooms" in docs/architecture.md.
#   layering_test.sh SOURCE_DIR
set -euo pipefail
cd "$1"
status=0

# room, then the first path components that its includes may not begin with
forbid() {
  local room=$1 pattern=$2 found
  [ -n "$(find $room -name '*.h' -o -name '*.cpp' | head -n 1)" ] || {
    echo "no sources in $room: this check checks nothing"
    status=1
  }
  found=$(grep -rnE "^ *# *include *[<\"]($pattern)" $room --include='*.h' --include='*.cpp' \
    --include='*.c') || return 0
  printf '%s must not include from there:\n%s\n' "$room" "$found"
  status=1
}

forbid 'include/kovax include/dekodrix' 'implementation|platform|plugin|decoder|host'
forbid include/implementation 'plugin|decoder|host|kovax|dekodrix'
forbid platform 'plugin|decoder|host|kovax|dekodrix|implementation'
forbid decoder 'plugin|host|kovax|platform'
forbid plugin 'decoder|host/'
forbid plugin/database 'plugin/[a-z_]+\.h|dekodrix'
forbid host 'decoder|dekodrix|implementation/zet'
# The database commands use the plug-in's own code for databases; all else knows
# the plug-in only through its interface.
forbid "$(find host -mindepth 1 -maxdepth 1 ! -name database ! -name CMakeLists.txt | tr '\n' ' ')" plugin
beyond=$(grep -rnE '^ *# *include *[<"]plugin/' host/database |
  grep -vE '"plugin/(database/[a-z_]+|path_parameter|trace_db(_config)?)\.h"') || true
[ -z "$beyond" ] || {
  printf 'host/database must not include beyond the libraries for databases:\n%s\n' "$beyond"
  status=1
}

# The JSON library is tied to our assertion only when it comes through this header.
direct=$(grep -rnE '^ *# *include *<nlohmann' include platform plugin decoder host tests fuzz bench \
  --include='*.h' --include='*.cpp' | grep -vE '^include/implementation/json(_fwd)?\.h:') || true
[ -z "$direct" ] || {
  printf 'include "implementation/json.h" instead:\n%s\n' "$direct"
  status=1
}
exit $status
