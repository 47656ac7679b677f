#!/usr/bin/env bash
# Checks which room includes which: see "Rooms" in docs/architecture.md.
#   layering_test.sh SOURCE_DIR
set -euo pipefail
cd "$1"
status=0

require_sources() {
  [ -n "$(find "$@" -name '*.h' -o -name '*.cpp' | head -n 1)" ] || {
    echo "no sources in $*: this check checks nothing"
    status=1
  }
}

# room, then the first path components that its includes may not begin with
forbid() {
  local room=$1 pattern=$2 found
  require_sources $room
  found=$(grep -rnE "^ *# *include *[<\"]($pattern)" $room --include='*.h' --include='*.cpp' \
    --include='*.c') || return 0
  printf 'these must not include from there:\n%s\n' "$found"
  status=1
}

forbid 'include/kovax include/dekodrix' 'implementation|platform|plugin|decoder|host'
forbid include/implementation 'plugin|decoder|host|kovax|dekodrix'
forbid platform 'plugin|decoder|host|kovax|dekodrix|implementation'
forbid decoder 'plugin|host|kovax|platform'
forbid base 'plugin|decoder|host|kovax|dekodrix|implementation/zet'
forbid 'include platform decoder' 'base/'
forbid plugin 'decoder|host/'
forbid plugin/database 'plugin/[a-z_]+\.h|dekodrix'
forbid host 'decoder|dekodrix|implementation/zet'
forbid diagnosis 'host|kovax'
# The database commands use the plug-in's own libraries for databases; all else knows
# the plug-in only through its interface.
forbid "$(find host -name '*.h' -o -name '*.cpp' |
  grep -vE '^host/(database/|commands/db\.)' | tr '\n' ' ')" plugin
beyond=$(grep -rnE '^ *# *include *[<"]plugin/' host/database host/commands |
  grep -vE '"plugin/(database/[a-z_]+|path_parameter|limits|trace_db(_config)?)\.h"') || true
[ -z "$beyond" ] || {
  printf 'the program must not include beyond the libraries for databases:\n%s\n' "$beyond"
  status=1
}

# The program's rooms. What lies in host/ itself is the base: every room may use it,
# and it uses none. Only the commands know the library that reads the command line.
#
# Includes that still break these rules, "FILE INCLUDED", one per line.
host_exceptions='
host/console.cpp host/output/output_failure.h
'

# room, then the paths that its includes of the program's own files may begin with
allow_in_host() {
  local user=$1 rooms=$2 sources beyond
  require_sources $user
  sources=$(find $user -name '*.h' -o -name '*.cpp')
  beyond=$(grep -HE '^ *# *include *[<"](host|CLI)/' $sources |
    sed -E 's/^([^:]*): *# *include *[<"]([^>"]*).*/\1 \2/' |
    grep -vE " ($rooms|host/[a-z_]+\.h)" | grep -vxFf <(grep . <<<"$host_exceptions")) || return 0
  printf 'these must not include from there:\n%s\n' "$beyond"
  status=1
}
base=$(find host -maxdepth 1 \( -name '*.h' -o -name '*.cpp' \) ! -name main.cpp | tr '\n' ' ')
allow_in_host "$base" host/none/
allow_in_host host/source host/source/
allow_in_host host/output 'host/(output|source)/'
allow_in_host host/display 'host/(display|source)/'
allow_in_host host/database 'host/(database|source)/'
allow_in_host host/run 'host/(run|source|output|display|database)/'
allow_in_host host/batch 'host/(batch|run|source|output|display|database)/'
allow_in_host host/simulate 'host/(simulate|output)/'
allow_in_host host/explain 'host/(explain|source|database)/'
allow_in_host host/report 'host/(report|output)/'
allow_in_host host/wireshark 'host/(wireshark|run|output|display|database|source)/'
allow_in_host host/commands '(host|CLI)/'
allow_in_host host/main.cpp host/commands/
rooms=$(find host -mindepth 1 -maxdepth 1 -type d ! -name source ! -name output ! -name display \
  ! -name database ! -name run ! -name simulate ! -name report ! -name batch ! -name explain ! -name wireshark ! -name commands)
[ -z "$rooms" ] || {
  printf 'rooms that this check does not know:\n%s\n' "$rooms"
  status=1
}

# The JSON library is tied to our assertion only when it comes through this header.
direct=$(grep -rnE '^ *# *include *<nlohmann' include base platform plugin decoder diagnosis host tests fuzz bench \
  --include='*.h' --include='*.cpp' | grep -vE '^include/implementation/json(_fwd)?\.h:') || true
[ -z "$direct" ] || {
  printf 'include "implementation/json.h" instead:\n%s\n' "$direct"
  status=1
}
exit $status
