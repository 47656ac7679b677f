#!/usr/bin/env bash
# Names with blanks and letters of every script lead to their files: trace, database,
# capture, cache, catalogue, working directory.
. "$(dirname "$0")/../checks.sh"
. "$(dirname "$0")/wine.sh"

"$native" simulate "$session" --trace trace.bin --database database.json >/dev/null
"$native" decode trace.bin --database database.json -o expected.pcapng 2>expected.txt
uuid=$(sed -nE 's/.*database UUID +//p' expected.txt)

there='Übung mit Blank 日本'
mkdir "$there"
cp trace.bin "$there/Spur €.bin"
cp database.json "$there/Datenbank ß.json"
windows decode "$there/Spur €.bin" --database "$there/Datenbank ß.json" \
  -o "$there/Aufnahme ü.pcapng" 2>summary.txt
same_capture expected.pcapng "$there/Aufnahme ü.pcapng" "the captures"
[ "$(lines summary.txt | head -n 1)" = "$(head -n 1 expected.txt |
  sed "s|^expected.pcapng|$there/Aufnahme ü.pcapng|")" ] ||
  fail "the summary names another file" "$(cat summary.txt)"

# From the directory itself, and by absolute names.
(cd "$there" && windows decode 'Spur €.bin' --database 'Datenbank ß.json' \
  -o './zweite Ω.pcapng' 2>../summary.txt)
same_capture expected.pcapng "$there/zweite Ω.pcapng" "the captures from there"
drive="Z:${PWD//\//\\}\\"
windows decode "$drive$there\\Spur €.bin" --database "$drive$there\\Datenbank ß.json" \
  -o "$drive$there\\dritte é.pcapng" 2>summary.txt
same_capture expected.pcapng "$there/dritte é.pcapng" "the captures by absolute names"

refused 3 'nirgends €.bin: trace file does not exist' \
  windows decode 'nirgends €.bin' --database database.json -o none.pcapng

# A cache, filled from a catalogue with names of that kind.
mkdir "$there/Quelle"
cp database.json "$there/Quelle/db.json"
printf '{"firmwares": {"updated_timestamp": "2024-01-01 00:00:00", "devices": [{"type": "Gerät €",
  "versions": [{"version": "1 ö", "uuid": "%s",
  "database": {"path": "${root}db.json", "sha256": "%s"}}]}]}}' "$uuid" \
  "$(sha256sum database.json | cut -d ' ' -f 1)" >"$there/Quelle/config.json"
address="file:///Z:$PWD/%C3%9Cbung%20mit%20Blank%20%E6%97%A5%E6%9C%AC/Quelle"
cache="$there/Vorrat ñ"
windows db sync --cache "$cache" --root "$address" --location '${root}config.json' \
  --update >sync.txt 2>&1 || fail "the cache was not filled" "$(cat sync.txt)"
same "$there/Quelle/config.json" "$cache/config.json" "the catalogues"
same database.json "$cache/Gerät €/1 ö/$uuid/db.json" "the databases"
windows db verify --cache "$cache" >verify.txt 2>&1 ||
  fail "the cache is not intact" "$(cat verify.txt)"
windows db list --cache "$cache" >list.txt
lines list.txt | grep -qF 'Gerät €' || fail "the list does not name the device" "$(cat list.txt)"
windows decode "$there/Spur €.bin" --cache "$cache" -o found.pcapng 2>summary.txt
same_capture expected.pcapng found.pcapng "the captures with the cache's database"
