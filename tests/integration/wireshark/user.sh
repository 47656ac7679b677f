# shellcheck shell=bash
# user.sh - what the scripts here share; to be sourced. A person who uses Wireshark: as root
# it reads no personal folders.
. "$(dirname "$0")/../live/line.sh"
unset XDG_CONFIG_HOME

# "${as_user[@]}" COMMAND...: runs it with the home directory $work, not as root.
as_user=(env HOME="$work")
give_to_user() { :; }
if [ "$(id -u)" = 0 ]; then
  command -v setpriv >/dev/null || { echo "no setpriv here"; exit 77; }
  as_user=(setpriv --reuid nobody --regid nogroup --clear-groups "${as_user[@]}")
  give_to_user() { chown nobody -- "$@"; }
fi

# The program where that user may read it.
mkdir bin
cp -r "$(dirname "$veltra")"/{veltra,kovax-veltra-source.kovax,libdekodrix.so,wireshark} bin
veltra=$work/bin/veltra
give_to_user . bin

# open_line: lets the user open the line of modem().
open_line() { give_to_user "$(readlink line)"; }
