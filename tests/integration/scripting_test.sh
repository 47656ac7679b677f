#!/usr/bin/env bash
# The recipes of docs/scripting.md do what the page shows. Those whose program is not
# installed are left out, which is reported.
#   scripting_test.sh VELTRA SESSION.tsv SOURCE_DIR
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2 page=$3/docs/scripting.md

# As on the page: the program by its name, beside the session.
mkdir bin
ln -s "$veltra" bin/veltra
cp "$session" .
PATH=$work/bin:$PATH
# The one whose libraries Debian's packages install.
[ ! -x /usr/bin/python3 ] || ln -s /usr/bin/python3 bin/python3

# needs HEADING: whether this machine has what the recipes under it use.
is_there() {
  case $1 in
    jq) type jq >/dev/null 2>&1 ;;
    SQLite) type sqlite3 >/dev/null 2>&1 ;;
    pandas | pytest) python3 -c "import $1" 2>/dev/null ;;
    *) true ;;
  esac
}

command='' expected='' ran=0
run_command() {
  [ -n "$command" ] || return 0
  local got
  got=$(bash -euo pipefail -c "$command" 2>&1 </dev/null) ||
    fail "$section: this failed: $command" "$got"
  [ -n "$expected$got" ] || got=nothing expected=$'nothing\n'
  printf '%s' "$expected" | comparable >"$work.expected"
  printf '%s\n' "$got" | comparable >"$work.got"
  same "$work.expected" "$work.got" "$section: what is printed by $command"
  command=''
  ran=$((ran + 1))
}
# Without what differs from run to run.
comparable() { sed -E 's/ in [0-9.]+s( =*)?$//; s/"seconds":[0-9.e-]+/"seconds":0/; $a\'; }

section='' block='' file='' is_wanted=yes left_out=''
while IFS= read -r line; do
  case $block in
    '')
      case $line in
        '## '*)
          section=${line#'## '} is_wanted=yes
          is_there "$section" || {
            is_wanted=no left_out+=" $section"
            echo "left out: $section is not installed"
          }
          ;;
        '```console' | '```python') block=${line#'```'} file='' ;;
      esac
      ;;
    python)
      case $line in
        '```') block='' ;;
        *)
          [ -n "$file" ] || file=${line#'# '}
          printf '%s\n' "$line" >>"$file"
          ;;
      esac
      ;;
    console)
      [ $is_wanted = yes ] || [ "$line" = '```' ] || continue
      case $line in
        '```') run_command && block='' ;;
        '$ '*) run_command && command=${line#'$ '} expected='' ;;
        '> '*) command+=$'\n'${line#'> '} ;;
        *) expected+=$line$'\n' ;;
      esac
      ;;
  esac
done <"$page"
[ -z "$block" ] || fail "a block of $page does not end"
[ $ran -ge 3 ] || fail "only $ran recipes ran"
echo "$ran recipes ran"
[ -n "$left_out" ] || exit 0
[ "$left_out" != " jq SQLite pandas pytest" ] || exit 77
