#!/usr/bin/env bash
# The shells complete command lines with what the program offers, and else with files.
#   completion_test.sh VELTRA SOURCE_DIR
# Shells that are not installed are left out; bash is.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/checks.sh"
veltra=$1 scripts=$2/packaging/completion
export PATH=${veltra%/*}:$PATH
touch trace.bin

# expect GOT WANTED SHELL: the first words of the lines, in any order.
expect() {
  [ "$(cut -f 1 <<<"$1" | sort | xargs)" = "$2" ] || fail "$3 offers \"$1\" instead of \"$2\""
}

# in_bash WORD...: what the line offers for its last word.
in_bash() {
  (
    # shellcheck source=/dev/null
    . "$scripts/veltra.bash"
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _veltra
    printf '%s\n' "${COMPREPLY[@]}"
  )
}
expect "$(in_bash veltra db l)" "lint list" bash
expect "$(in_bash veltra decode -f '')" "jsonl pcapng" bash
expect "$(in_bash veltra decode --data)" "--database" bash
expect "$(in_bash veltra decode tra)" "" bash
bash -c '. "$1"; complete -p veltra' bash "$scripts/veltra.bash" | grep -q -- '-o default' ||
  fail "bash does not complete names of files"

if command -v fish >/dev/null; then
  in_fish() { fish -c "source $(printf %q "$scripts/veltra.fish"); complete -C '$1'"; }
  expect "$(in_fish 'veltra db l')" "lint list" fish
  expect "$(in_fish 'veltra decode -f ')" "jsonl pcapng" fish
  expect "$(in_fish 'veltra decode --data')" "--database" fish
  expect "$(in_fish 'veltra decode tra')" "trace.bin" fish
else
  echo "fish is not installed: left out"
fi

if command -v zsh >/dev/null; then
  # The functions of zsh's own that show what is offered work only in its line editor.
  in_zsh() {
    # shellcheck disable=SC2016 # zsh expands it
    zsh -fc 'fpath=($1); autoload -U _veltra; shift
      _describe() { print -rl -- "${(P@)2%%:*}" }
      _files() { print files }
      words=("$@"); CURRENT=$#; _veltra' zsh "$scripts" "$@"
  }
  expect "$(in_zsh veltra db l)" "lint list" zsh
  expect "$(in_zsh veltra decode -f '')" "jsonl pcapng" zsh
  expect "$(in_zsh veltra decode --data)" "--database" zsh
  expect "$(in_zsh veltra decode tra)" "files" zsh
else
  echo "zsh is not installed: left out"
fi
