#!/usr/bin/env bash
# Every command and option that the program has is in its --help, in the docs and, where pandoc
# is installed, in the manual pages, and every exit code is in the docs. What the program has
# it says itself, as it does to the shells' completion.
#   documented_options_test.sh VELTRA SOURCE_DIR
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/checks.sh"
veltra=$1 source=$2
page=$source/docs/command-line.md

# Prints the names of the commands below "$@", and the options of "$@".
commands() { has_commands "$@" && "$veltra" __complete "$@" '' | cut -f 1; }
has_commands() { "$veltra" "$@" --help | grep -q '^Usage: .* COMMAND '; }
options() { "$veltra" __complete "$@" - | cut -f 1 | grep '^--'; }

has_pages=
if command -v pandoc >/dev/null; then
  "$source/packaging/man-pages" 1.2.3 pages
  has_pages=yes
else
  echo "pandoc is not installed: the manual pages are left out"
fi
# manual PAGE: its text without marks for fonts, and that of the page to which others refer
# for what they share.
manual() { sed -E 's/\\f\[[A-Z]*\]//g; s/\\-/-/g' "pages/$1.1" pages/veltra-decode.1; }

checked=0
check_options() {
  local option name
  "$veltra" "$@" --help >help.txt
  [ -z "$has_pages" ] || manual "veltra${1:+-$1}" >manual.txt
  for option in $(options "$@"); do
    grep -qE -- "(^|[ ,])$option( |,|$)" help.txt || fail "veltra $*: $option is not in --help"
    [ "$option" = --help ] && continue
    grep -qE -- "$option\b" "$source"/docs/*.md || fail "veltra $*: $option is not documented"
    [ -z "$has_pages" ] || grep -qE -- "$option\b" manual.txt ||
      fail "veltra $*: $option is not in the manual pages"
    checked=$((checked + 1))
  done
  for name in $(commands "$@"); do check_options "$@" "$name"; done
}

[ -n "$(commands)" ] || fail "there are no commands"
for name in $(commands); do
  grep -q "^## veltra $name$" "$page" || fail "veltra $name is not in command-line.md"
  grep -q " $name " <("$veltra" --help) || fail "veltra $name is not in --help"
done
check_options
[ $checked -ge 60 ] || fail "only $checked options were found"

for code in $(sed -nE 's/^  [a-z_]+ = ([0-9]+),.*/\1/p' "$source/host/exit_code.h"); do
  grep -q "^| $code |" "$page" || fail "exit code $code is not documented"
  checked=exit_codes
done
[ $checked = exit_codes ] || fail "no exit codes in exit_code.h"
