#!/usr/bin/env bash
# Every command and option that --help shows is in the docs, and every exit code.
#   documented_options_test.sh VELTRA SOURCE_DIR
. "$(dirname "$0")/checks.sh"
veltra=$1 source=$2
page=$source/docs/command-line.md

# Prints the names of the commands below "$@".
commands() { "$veltra" "$@" --help | sed -n '/^Subcommands:/,$p' | sed -nE 's/^  ([a-z]+) .*/\1/p'; }

checked=0
check_options() {
  local option name
  for option in $("$veltra" "$@" --help | grep -oE -- '(^|[ ,])--[a-z-]+' | grep -oE -- '--[a-z-]+' | sort -u); do
    [ "$option" = --help ] && continue
    grep -qE -- "$option\b" "$source"/docs/*.md || fail "veltra $*: $option is not documented"
    checked=$((checked + 1))
  done
  for name in $(commands "$@"); do check_options "$@" "$name"; done
}

[ -n "$(commands)" ] || fail "--help shows no commands"
for name in $(commands); do
  grep -q "^## veltra $name$" "$page" || fail "veltra $name is not in command-line.md"
done
check_options
[ $checked -ge 15 ] || fail "only $checked options were found in --help"

for code in $(sed -nE 's/^  [a-z_]+ = ([0-9]+),.*/\1/p' "$source/host/exit_code.h"); do
  grep -q "^| $code |" "$page" || fail "exit code $code is not documented"
  checked=exit_codes
done
[ $checked = exit_codes ] || fail "no exit codes in exit_code.h"
