#!/usr/bin/env bash
# `veltra wireshark` puts link and profile where both layouts of Wireshark look for them, and
# takes them away again.
#   installation_test.sh VELTRA
veltra=$1 session=none
. "$(dirname "$0")/user.sh"
links=(.config/wireshark/extcap/veltra-extcap .local/lib/wireshark/extcap/veltra-extcap)
profile='.config/wireshark/profiles/LTE modem'

"${as_user[@]}" "$veltra" wireshark status >status.txt
[ "$(grep -c ': not installed$' status.txt)" -ge 3 ] || fail "the status" "$(cat status.txt)"
"${as_user[@]}" "$veltra" wireshark install >install.txt
for link in "${links[@]}"; do
  [ "$(readlink "$link")" = "$veltra" ] || fail "no link $link" "$(cat install.txt)"
done
for file in preferences colorfilters dfilter_buttons; do
  [ -s "$profile/$file" ] || fail "no $file in the profile" "$(cat install.txt)"
done
"${as_user[@]}" "$veltra" wireshark status >status.txt
[ "$(grep -c ': installed$' status.txt)" -ge 3 ] || fail "the status" "$(cat status.txt)"
for version in 4.0 4.4; do
  "$work/${links[0]}" --extcap-interfaces --extcap-version=$version |
    grep -q '^interface {value=veltra}' || fail "the link does not answer $version"
done

echo '# mine' >>"$profile/preferences"
"${as_user[@]}" "$veltra" wireshark uninstall >uninstall.txt
grep -q 'kept, since it was changed' uninstall.txt || fail "no word of it" "$(cat uninstall.txt)"
"${as_user[@]}" "$veltra" wireshark install --overwrite >/dev/null
"${as_user[@]}" "$veltra" wireshark uninstall >uninstall.txt
for name in "${links[@]}" "$profile"; do
  [ ! -e "$name" ] && [ ! -L "$name" ] || fail "$name is left" "$(cat uninstall.txt)"
done

# A folder that cannot be written.
rm -r .config
touch .config
refused 6 'cannot make' "${as_user[@]}" "$veltra" wireshark install
