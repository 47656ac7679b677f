#!/usr/bin/env bash
# Asks whether the tests notice faults: makes small ones in the plug-in, the decoder and
# base/, one at a time, and counts those that no test fails for. Prints those that survive.
#   tests/mutants.sh [COUNT [SEED]]   100 mutants, seed 1
#   tests/mutants.sh REPORT           the mutants of an earlier report once more
# The same seed takes the same mutants as long as the lines concerned are the same. A
# report's mutant is found by its file's name and its line's text, wherever they are now.
# The sources are copied to build/mutants, changed there, and build/mutants/report says
# what became of each mutant. One that survives takes over a minute, others less.
set -euo pipefail
cd "$(dirname "$0")/.."
earlier_report='' count=${1:-100} seed=${2:-1}
[ ! -f "$count" ] || { earlier_report=$(realpath "$count") && count=all; }
root=$PWD/build/mutants
tree=$root/tree build=$root/build
# For a mutant that never ends, and for one that takes more and more memory.
max_processor_seconds=120 max_memory_kib=$((12 * 1024 * 1024))

rm -rf "$tree"
mkdir -p "$tree"
git ls-files -z | xargs -0 cp --parents -pt "$tree"
# What the last run compiled of this file was a mutant.
[ ! -f "$root/changed_file" ] || touch "$tree/$(cat "$root/changed_file")"

# Prints the candidates: a number to sort by, file, line, the new line.
candidates() {
  awk -v seed="$seed" '
    BEGIN { for (i = 1; i < 256; ++i) code[sprintf("%c", i)] = i }
    function hash(text,    i, value) {
      value = seed * 7919 + 17
      for (i = 1; i <= length(text); ++i) value = (value * 131 + code[substr(text, i, 1)]) % 2147483647
      # Neighbours in the text must not be neighbours in the order.
      for (i = 0; i < 3; ++i) value = (value * 48271 + 11) % 2147483647
      return value
    }
    function offer(mutated,    text, number) {
      text = FILENAME "|" $0 "|" mutated
      number = ++seen[text]
      print hash(text "|" number) "\t" FILENAME "\t" FNR "\t" mutated
    }
    # Each place where "from" occurs outside of strings and comments.
    function replace_each(from, to,    start, place, before) {
      for (start = 1; (place = index(substr($0, start), from)) > 0; start += place) {
        before = substr($0, 1, start + place - 2)
        if (before ~ /\/\// || gsub(/"/, "\"", before) % 2) continue
        offer(before to substr($0, start + place - 1 + length(from)))
      }
    }
    function replace_numbers(    start, before, digits, after) {
      for (start = 1; match(substr($0, start), /[0-9]+/); start += RSTART + RLENGTH - 1) {
        before = substr($0, 1, start + RSTART - 2)
        digits = substr($0, start + RSTART - 1, RLENGTH)
        after = substr($0, start + RSTART - 1 + RLENGTH)
        if (before ~ /[A-Za-z_0-9.]$|\/\// || after ~ /^[A-Za-z_0-9.]/ || gsub(/"/, "\"", before) % 2) continue
        offer(before (digits + 1) after)
        if (digits > 0) offer(before (digits - 1) after)
      }
    }
    FNR == 1 { ended = 1 }
    /^ *(\/\/|#)/ || /static_assert|R"/ { next }
    {
      replace_each(" == ", " != "); replace_each(" != ", " == ")
      replace_each(" < ", " <= "); replace_each(" <= ", " < ")
      replace_each(" > ", " >= "); replace_each(" >= ", " > ")
      replace_each(" && ", " || "); replace_each(" || ", " && ")
      replace_each(" + ", " - "); replace_each(" - ", " + ")
      replace_each("++", "--"); replace_each("true", "false"); replace_each("false", "true")
      replace_numbers()
      if (match($0, /^ *(} else )?(if|while) \(.*\) (\{|[a-z].*;)$/) && $0 !~ / = |const |auto /) {
        line = $0; depth = 0; open = index(line, "(")
        for (i = open; i <= length(line); ++i) {
          c = substr(line, i, 1)
          if (c == "(") ++depth
          if (c == ")" && --depth == 0) break
        }
        offer(substr(line, 1, open) "!(" substr(line, open + 1, i - open - 1) ")" substr(line, i))
      }
      # A statement on a line of its own that declares nothing.
      if (ended && $0 ~ /^ +[a-z_:>.*-]+(\[[^]]*\])?(\(.*\)| [-+|&]?= .*|\+\+);$/ && $0 !~ /^ +(return|throw|using|case|default)/)
        offer("  ;")
      if ($0 ~ /^ +(if|while) \(.*\) return[^;]*;$/ || (ended && $0 ~ /^ +(break|continue|return);$/)) offer("  ;")
      ended = $0 ~ /[;{}:]$/ || $0 ~ /^ *$/
    }' "$@"
}

# The same for the mutants of a report; of equal lines, the nearest.
candidates_of_report() {
  local title original mutated place
  while IFS= read -r title && IFS= read -r original && IFS= read -r mutated; do
    place=${title##*[ /]}
    place=$(find base plugin decoder -name "${place%:*}" -print0 |
      xargs -0r grep -nHxFe "${original:3}" |
      awk -F : -v line="${place#*:}" '{ print ($2 > line ? $2 - line : line - $2) "\t" $1 "\t" $2 }' |
      sort -n | head -n 1) || true
    [ -z "$place" ] || printf '%s\t%s\n' "$place" "${mutated:3}"
    [ -n "$place" ] || echo "no longer there: $title" >&2
  done <"$1"
}

cd "$tree"
if [ -n "$earlier_report" ]; then
  candidates_of_report "$earlier_report" >"$root/candidates"
else
  mapfile -t sources < <(find base plugin decoder -name '*.cpp' | LC_ALL=C sort)
  candidates "${sources[@]}" | LC_ALL=C sort -s -n >"$root/candidates"
fi
# A mutant is compiled by itself; the tests, which do not change, are compiled together.
sed -i '1i set(CMAKE_UNITY_BUILD OFF)' {base,plugin,decoder}/CMakeLists.txt
cmake -S . -B "$build" -G Ninja -DVELTRA_BUILD_BENCHMARKS=OFF -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS_DEBUG=-O0 >"$root/log" 2>&1 || { cat "$root/log" >&2 && exit 1; }

# Builds and runs the tests that a change of this file can fail; sets "verdict".
run_tests() {
  local directory
  for directory in tests/unit/{base,decoder,plugin} tests/abi; do
    case $1:$directory in
      base/*:*/decoder | plugin/*:*/decoder | plugin/*:*/base | decoder/*:*/base) continue ;;
    esac
    verdict="not compiled"
    nice cmake --build "$build" --target "$directory/all" >"$root/log" 2>&1 || return 0
    if ! (ulimit -t $max_processor_seconds -v $max_memory_kib -c 0 &&
      GTEST_FAIL_FAST=1 ctest --test-dir "$build/$directory" --no-tests=error \
        --stop-on-failure --output-on-failure) >"$root/log" 2>&1 </dev/null; then
      verdict="killed by $(sed -nE 's/^\t *[0-9]+ - (.*)/\1/; s/ \(Failed\)//; T; p; q' "$root/log")"
      return
    fi
  done
  verdict=survived
}

run_tests all
[ "$verdict" = survived ] || {
  tail -n 30 "$root/log" >&2
  echo "The tests fail without a mutant ($verdict)." >&2
  exit 1
}

judged=0
while [ $judged != "$count" ] && IFS=$'\t' read -r _ file line mutated <&3; do
  original=$(sed -n "${line}p" "$file")
  cp -p "$file" "$root/original"
  awk -v line="$line" 'NR == FNR { mutated = $0; next } FNR == line { $0 = mutated } { print }' \
    <(printf '%s\n' "$mutated") "$file" >"$root/mutated"
  printf '%s\n' "$file" >"$root/changed_file"
  cp "$root/mutated" "$file"
  run_tests "$file"
  cp "$root/original" "$file"
  [ "$verdict" = "not compiled" ] || judged=$((judged + 1))
  printf '%s: %s:%s\n  -%s\n  +%s\n' "$verdict" "$file" "$line" "$original" "$mutated"
done 3<"$root/candidates" | tee "$root/report" | awk '
  /^survived/ { show = 1 } /^(killed|not)/ { show = 0 } show { print; fflush() }'
printf '%s killed, %s survived of %s candidates\n' "$(grep -c '^killed' "$root/report")" \
  "$(grep -c '^survived' "$root/report")" "$(wc -l <"$root/candidates")"
