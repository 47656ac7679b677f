#!/usr/bin/env bash
# The .zip, unpacked elsewhere, holds everything that its own example needs.
#   package_test.sh NATIVE_VELTRA SESSION.tsv WINE_PREFIX WINE_COMMAND... VELTRA_EXE BUILD_DIR
windows_build=${*: -1}
set -- "${@:1:$#-1}"
. "$(dirname "$0")/../checks.sh"
. "$(dirname "$0")/wine.sh"

cpack --config "$windows_build/CPackConfig.cmake" -B "$work/made" >cpack.log 2>&1 ||
  fail "cpack failed" "$(cat cpack.log)"
zip=$(echo made/kovax-veltra-source-*-windows-x86_64.zip)
[ -f "$zip" ] || fail "no single package: $zip"
mkdir 'elsewhere ö'
(cd 'elsewhere ö' && cmake -E tar xf "../$zip")
there=$(echo 'elsewhere ö'/*)
[ -f "$there/README.md" ] || fail "the package is not one directory" "$(find 'elsewhere ö')"
[ "$(find "$there" -name '*.a' -path '*/bin/*')" = "" ] || fail "bin holds more than is run"

# The program of the package in place of the build tree's, which must not help it
# to its decoder either.
packaged=()
for word in "${wine[@]:0:${#wine[@]}-1}"; do
  [[ $word == WINEPATH=* ]] || packaged+=("$word")
done
wine=("${packaged[@]}" "$there/bin/veltra.exe")
windows simulate "$there/examples/attach_session.tsv" \
  --trace trace.bin --database database.tar.gz >/dev/null
windows decode trace.bin --database database.tar.gz -o windows.pcapng 2>summary.txt ||
  fail "nothing was decoded" "$(cat summary.txt)"
"$native" decode trace.bin --database database.tar.gz -o native.pcapng 2>summary.txt
same_capture native.pcapng windows.pcapng "the captures"
