#!/usr/bin/env bash
# Every link in README.md and docs/ that names a file or a heading leads to one, in the
# source tree and in an installed one.
#   links_test.sh DIRECTORY_OF_README
set -euo pipefail
cd "$1"
status=0
checked=0

# The anchors of a page's headings, as GitHub makes them: lower case, without
# punctuation, a hyphen for each space.
anchors() {
  sed -nE '/^```/{:code n; /^```/!b code; n}; s/^#+ +//p' "$1" |
    tr '[:upper:]' '[:lower:]' | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'
}

while IFS=: read -r page link; do
  case $link in *://*) continue ;; esac
  checked=$((checked + 1))
  file=${link%%#*}
  path=$page
  [ -z "$file" ] || path=$(dirname "$page")/$file
  if [ ! -e "$path" ]; then
    echo "$page: $link: there is no such file"
    status=1
  elif [ "$link" != "$file" ] && ! anchors "$path" | grep -qxF -- "${link#*#}"; then
    echo "$page: $link: there is no such heading"
    status=1
  fi
done < <(grep -oE '\]\([^)]+\)' README.md docs/*.md | sed -E 's/\]\((.*)\)$/\1/')

[ $checked -ge 20 ] || {
  echo "only $checked links were found: this check checks nothing"
  status=1
}
exit $status
