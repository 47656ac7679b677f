#!/usr/bin/env bash
# Every bad input ends with one line with the reason, an exit code of its
# kind, and no file.
#   bad_input_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2
usage=2 bad_input=3 nothing_decoded=4 output_failed=6

"$veltra" simulate "$session" --trace trace.bin --database database.json >/dev/null
"$veltra" simulate "$session" --trace other.bin --database archive.tar.gz >/dev/null
rm other.bin
mkdir directory directory.json directory.gz
: >empty.bin
: >empty.json
: >empty.gz
echo 'no JSON' >text.json
echo 'no gzip' >text.gz
echo '{}' >object.json
cp database.json database.txt
# The start of a gzip stream, and one with a wrong byte in its middle.
head -c 100 archive.tar.gz >short.gz
cp archive.tar.gz broken.gz
printf '\377\377\377\377\377\377\377\377' | dd of=broken.gz bs=1 seek=200 conv=notrunc 2>/dev/null
sed 's/"format": "veltra-frames"/"format": "other-frames"/' database.json >foreign.json
sed 's/"dekodrix_config"/"no_config"/' database.json >unconfigured.json
# Another firmware's: its core has another master id.
sed -E 's/"(id|master_id)": 3\b/"\1": 9999/' database.json >firmware.json
for name in foreign unconfigured firmware; do
  ! cmp -s $name.json database.json || fail "$name.json is the database itself"
done

decode() { refused "$1" "$2" "$veltra" decode "${@:3}"; }

# The trace.
decode $bad_input "no.bin: trace file does not exist" no.bin --database database.json
decode $bad_input "misspelt/trace.bin: trace file does not exist" \
  misspelt/trace.bin --database database.json
decode $bad_input "directory is not a regular file" directory --database database.json
decode $nothing_decoded "empty.bin is empty" empty.bin --database database.json
mkdir cache
echo '{"firmwares": {"updated_timestamp": "", "devices": []}}' >cache/config.json
decode $bad_input "the catalogue of the cache cache lists no database" trace.bin --cache cache
mkdir -p cache/modem/1/uuid
cp database.json cache/modem/1/uuid/
printf '{"firmwares": {"updated_timestamp": "", "devices": [{"type": "modem", "versions": [
  {"version": "1", "uuid": "uuid", "database": {"path": "database.json", "sha256": "%s"}}]}]}}' \
  "$(sha256sum database.json | cut -d ' ' -f 1)" >cache/config.json
decode $nothing_decoded "empty.bin is empty" empty.bin --cache cache
decode $bad_input "trace.bin needs the database" trace.bin --cache cache
decode $bad_input "the cache trace.bin is not a directory" trace.bin --cache trace.bin
decode $bad_input "the cache directory has no catalogue yet" trace.bin --cache directory
decode $nothing_decoded "not one packet came out of $session" "$session" --database database.json
# Bytes that are not a trace: all that comes of them are losses.
head -c 100000 "$veltra" >noise.bin
decode $nothing_decoded "only reports of " noise.bin --database database.json

# The database.
decode $bad_input "no.json: database file does not exist" trace.bin --database no.json
for name in directory directory.json directory.gz; do
  decode $bad_input "database $name cannot be read" trace.bin --database $name
done
decode $bad_input "database.txt: Database file extension needs to be .gz or .json" \
  trace.bin --database database.txt
for name in empty.json text.json object.json; do
  decode $bad_input "$name: Trace database has missing fields or is invalid" \
    trace.bin --database $name
done
for name in empty.gz text.gz broken.gz; do
  decode $bad_input "$name: Invalid gzip data" trace.bin --database $name
done
decode $bad_input "short.gz contains no decoder configuration" trace.bin --database short.gz
decode $bad_input "unconfigured.json contains no decoder configuration" \
  trace.bin --database unconfigured.json
decode $bad_input "the decoder does not take the configuration in foreign.json" \
  trace.bin --database foreign.json
decode $nothing_decoded "that the database belongs to its firmware" \
  trace.bin --database firmware.json

decode $nothing_decoded "0 damaged, 56 of unknown masters) and 0 traces" trace.bin --database firmware.json
# Not the one that the trace names.
sed -E 's/("uuid": ")[0-9a-f]{8}/\1ffffffff/' database.json >another.json
decode $bad_input "the trace names the database" trace.bin --database another.json --strict
"$veltra" decode trace.bin --database another.json -o another.pcapng 2>told.txt
grep -q "^veltra: note: the trace names the database" told.txt || fail "no note" "$(cat told.txt)"
grep -q "^  trace's database  " told.txt || fail "not in the summary" "$(cat told.txt)"
"$veltra" decode trace.bin --database database.json --strict -o another.pcapng 2>told.txt
! grep -q "trace's database\|note:" told.txt || fail "the right database is doubted" "$(cat told.txt)"
rm another.pcapng told.txt

# The output.
decode $output_failed "cannot write no/out.pcapng" trace.bin --database database.json -o no/out.pcapng
decode $output_failed "cannot write directory: it is a directory" \
  trace.bin --database database.json -o directory
echo 'of another trace' >trace.pcapng
decode $usage "trace.pcapng exists and may come from another trace" trace.bin --database database.json
rm trace.pcapng
decode $usage "the output would replace the input trace.bin" \
  trace.bin --database database.json -o ./trace.bin
decode $usage "the output would replace the input database.json" \
  trace.bin --database database.json -o database.json
if [ -e /dev/full ]; then
  decode $output_failed "cannot write /dev/full: No space left on device" \
    trace.bin --database database.json -o /dev/full
  [ -c /dev/full ] || fail "/dev/full is not a device any more"
fi

# The command line.
decode $usage "--format: xml not in {pcapng,jsonl}" trace.bin --database database.json --format xml
decode $usage "--chunk-size: Value 0 not in range" trace.bin --database database.json --chunk-size 0
decode $usage "--chunk-size: Value many not in range" \
  trace.bin --database database.json --chunk-size many
decode $usage "TRACE is required; see veltra decode --help" --database database.json
decode $usage "there is nothing to decode with: name the trace database" trace.bin
decode $usage "--database excludes --cache" trace.bin --database database.json --cache directory
for empty in --database --cache --output --plugin; do
  decode $usage "$empty: the name is empty; see veltra decode --help" \
    trace.bin --database database.json $empty ''
done
decode $usage "TRACE: the name is empty" '' --database database.json
decode $usage "name the capture with -o" - --database database.json
refused $usage "--port: the name is empty" "$veltra" capture --raw x --port ''
refused $usage "--raw: the name is empty" "$veltra" capture --raw '' --port x
decode $usage "several traces need a directory" trace.bin more --database database.json
refused $usage "A subcommand is required; see veltra --help" "$veltra"
refused $usage '"decod" is not a command; did you mean decode? See veltra --help.' "$veltra" decod trace.bin
refused $usage '"lists" is not a command; did you mean list? See veltra db --help.' "$veltra" db lists
refused $usage '"" is not a command; see veltra --help' "$veltra" ''
refused $usage '"--verbos" is not an option; did you mean --verbose? See veltra --help.' "$veltra" --verbos
refused $usage '--cache is required; see veltra db list --help' "$veltra" db list more
refused $usage 'was not expected: more' "$veltra" simulate "$session" more
[[ $("$veltra" --version) =~ ^veltra\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "no version"

# The plug-in.
decode $bad_input "cannot load the plug-in" trace.bin --database database.json --plugin no.kovax
decode $bad_input "cannot load the plug-in" trace.bin --database database.json --plugin text.json

# The session.
refused $bad_input no.tsv "$veltra" simulate no.tsv --trace t.bin --database d.json
refused $bad_input text.json "$veltra" simulate text.json --trace t.bin --database d.json
refused $output_failed "no/t.bin" "$veltra" simulate "$session" --trace no/t.bin --database d.json
refused $output_failed "directory" "$veltra" simulate "$session" --trace directory --database d.json
refused $usage "--trace: the name is empty" "$veltra" simulate "$session" --trace '' --database d.json
refused $usage "the same file" "$veltra" simulate "$session" --trace d.json --database d.json

# Messages are best effort: without a reader the output is the same.
for closed in '2>&-' '2>/dev/full'; do
  rm -f quiet.pcapng
  eval "\"$veltra\" decode trace.bin --database database.json -o quiet.pcapng $closed" ||
    fail "exit code $? with $closed"
  [ -s quiet.pcapng ] || fail "no capture with $closed"
done
if [ -e /dev/full ]; then
  code=0
  "$veltra" simulate "$session" --trace kept.bin --database kept.json >/dev/full 2>messages.txt || code=$?
  [ $code = $output_failed ] || fail "exit code $code of a modem whose line is not taken"
  same trace.bin kept.bin "the traces"
  same database.json kept.json "the databases"
fi
# As it is with a pipe whose reader went away.
for closed in stderr stdout; do
  rm -f quiet.pcapng deaf
  mkfifo deaf
  exec 9<>deaf 8>deaf 9>&-
  code=0
  case $closed in
    stderr)
      "$veltra" decode trace.bin --database database.json -v -o quiet.pcapng 2>&8 || code=$?
      [ $code = 0 ] && [ -s quiet.pcapng ] || fail "exit code $code of a decode nobody hears of"
      ;;
    stdout)
      "$veltra" db show database.json >&8 2>messages.txt || code=$?
      [ $code = $output_failed ] || fail "exit code $code of a result nobody takes"
      grep -q "cannot write standard output" messages.txt || fail "the reason is not reported" "$(cat messages.txt)"
      ;;
  esac
  exec 8>&-
done
for asked in --help --version "decode --help"; do
  if [ -e /dev/full ]; then
    refused $output_failed "cannot write standard output: No space left on device" \
      sh -c "exec \"$veltra\" $asked >/dev/full"
  fi
done
refused $bad_input "there is no file none.json; check the name" "$veltra" db show none.json
refused $output_failed "cannot write standard output: No space left on device" \
  sh -c "exec \"$veltra\" db show database.json >/dev/full"

# Every fault of a database, and none of a good one.
"$veltra" db lint --strict database.json >lint.txt || fail "a good database has faults" "$(cat lint.txt)"
"$veltra" db lint --strict archive.tar.gz >lint.txt || fail "a good archive has faults" "$(cat lint.txt)"
for name in empty.json text.json object.json empty.gz text.gz broken.gz short.gz unconfigured.json; do
  code=0
  "$veltra" db lint $name >lint.txt 2>/dev/null || code=$?
  [ $code = $bad_input ] || fail "exit code $code of a lint of $name"
  grep -q "^$name: fault: " lint.txt || fail "no fault of $name" "$(cat lint.txt)"
done
refused $bad_input "there is no file none.json; check the name" "$veltra" db lint none.json
rm lint.txt

# What a database says does not control the terminal.
sed 's/"uuid": "/&\\u001b[2J/' database.json >control.json
"$veltra" db show control.json >shown.txt
grep -q 'UUID .*?\[2J' shown.txt || fail "the UUID is not shown" "$(cat -v shown.txt)"
! grep -q $'\x1b' shown.txt || fail "an escape sequence reaches the terminal"
for control in $'\x1b' $'\xc2\x9b' $'\x9b'; do
  refused $usage '"?[2J" is not a command' "$veltra" "$control[2J"
  refused $bad_input 'cannot read the session ?[2J' "$veltra" simulate "$control[2J" --trace t --database d.json
done
# A name that leads back to itself: it is there, and nobody can open what it names.
ln -s loop.json loop.json
ln -s loop loop
refused $bad_input "loop.json cannot be read: Too many levels of symbolic links" \
  "$veltra" db show loop.json
refused $bad_input "loop/x.json cannot be read: Too many levels of symbolic links" \
  "$veltra" db show loop/x.json
refused $bad_input "the cache loop cannot be read (Too many levels of symbolic links)" \
  "$veltra" db list --cache loop
if [ "$(id -u)" = 0 ] && type setpriv >/dev/null 2>&1; then
  as_another() { setpriv --reuid 65534 --clear-groups "$@"; }
  chmod 711 .
  mkdir -m 700 locked
  cp database.json locked/
  cp database.json unread.json
  chmod 600 unread.json
  if as_another "$veltra" --version >/dev/null 2>&1; then
    for name in locked/database.json unread.json; do
      refused $bad_input "$name cannot be read: Permission denied; check" \
        as_another "$veltra" db show $name
    done
    refused $bad_input "the cache locked cannot be read (Permission denied); check" \
      as_another "$veltra" db list --cache locked
  fi
fi

# None of this is because nothing ever works.
"$veltra" decode trace.bin --database archive.tar.gz -o out.pcapng 2>summary.txt
[ -s out.pcapng ] || fail "a good input gives no capture"
