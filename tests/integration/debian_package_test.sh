#!/usr/bin/env bash
# The .deb, unpacked elsewhere, holds everything that its own example needs, and
# names the libraries that the machine must have.
#   debian_package_test.sh BUILD_DIR
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/checks.sh"
build=$1
command -v dpkg-shlibdeps >/dev/null || { echo "no Debian tools here"; exit 77; }
unset LD_LIBRARY_PATH

cpack --config "$build/CPackConfig.cmake" -B "$work/made" >cpack.log 2>&1 ||
  fail "cpack failed" "$(cat cpack.log)"
deb=$(echo made/kovax-veltra-source_*.deb)
[ -f "$deb" ] || fail "no single package: $deb"

depends=$(dpkg-deb -f "$deb" Depends)
for library in libc6 libcurl4 libcurlpp0 libdeflate0 libfmt9 libssl3 libstdc++6 zlib1g; do
  [[ ", $depends" == *", $library "* || ", $depends," == *", $library,"* ]] ||
    fail "the package does not depend on $library: $depends"
done

mkdir "elsewhere é"
dpkg-deb -x "$deb" "elsewhere é"
usr="$work/elsewhere é/usr"
[ "$(find "elsewhere é" -type f -perm /022)" = "" ] || fail "files that others may write"
[ "$(find "elsewhere é" -name '*.a')" = "" ] || fail "static libraries in the package"
veltra="$usr/bin/veltra"
documents="$usr/share/doc/kovax-veltra-source"
"$veltra" simulate "$documents/examples/attach_session.tsv" \
  --trace trace.bin --database database.tar.gz >/dev/null
"$veltra" decode trace.bin --database database.tar.gz --format jsonl -o packets.jsonl 2>summary.txt
[ "$(wc -l <packets.jsonl)" = "$(grep -vc '^#' "$documents/examples/attach_session.tsv")" ] ||
  fail "not every message was decoded" "$(cat summary.txt)"

# Wireshark finds the program and the profile where Debian's looks for them.
link="$usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/wireshark/extcap/veltra-extcap"
"$link" --extcap-interfaces --extcap-version=4.0 | grep -q '^interface {value=veltra}' ||
  fail "no extcap program $link"
[ -s "$usr/share/wireshark/profiles/LTE modem/preferences" ] || fail "no profile in the package"
"$veltra" wireshark status >/dev/null || fail "the program does not find its profile"

# The shells find completion, and man the pages.
for file in bash-completion/completions/veltra zsh/vendor-completions/_veltra \
  fish/vendor_completions.d/veltra.fish; do
  [ -s "$usr/share/$file" ] || fail "no $file in the package"
done
if command -v pandoc >/dev/null && [ -e "$build/man" ]; then
  for page in veltra veltra-capture veltra-decode; do
    [ -s "$usr/share/man/man1/$page.1" ] || fail "no manual page $page in the package"
  done
fi

# Installing makes the service's user. What systemd would do is written down.
dpkg-deb -e "$deb" control
mkdir commands
printf '#!/bin/sh\necho "$(basename "$0") $*" >>"%s/calls.txt"\n' "$work" >commands/systemd-sysusers
chmod +x commands/systemd-sysusers
cp commands/systemd-sysusers commands/systemctl
cp commands/systemd-sysusers commands/udevadm
PATH=$work/commands:$PATH control/postinst configure ""
grep -qx 'systemd-sysusers veltra-capture.conf' calls.txt || fail "no user is made" "$(cat calls.txt)"
[ -f "$usr/lib/sysusers.d/veltra-capture.conf" ] || fail "no such user in the package"
if command -v systemd-sysusers >/dev/null && [ "$(id -u)" = 0 ]; then
  mkdir "elsewhere é/etc"
  systemd-sysusers --root="$work/elsewhere é" veltra-capture.conf >sysusers.txt 2>&1 ||
    fail "the user cannot be made" "$(cat sysusers.txt)"
  grep -q '^veltra-capture:.*:/var/lib/veltra-capture:' "elsewhere é/etc/passwd" ||
    fail "no user in $(cat "elsewhere é/etc/passwd")"
fi
