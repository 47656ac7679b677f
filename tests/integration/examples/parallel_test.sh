#!/usr/bin/env bash
# The command for GNU parallel in docs/cluster.md decodes every trace, here on this machine only.
#   parallel_test.sh VELTRA SOURCE_DIR
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/../checks.sh"
veltra=$1 source=$2
command -v parallel >/dev/null || { echo "GNU parallel is not installed"; exit 77; }
export PATH=${veltra%/*}:$PATH

mkdir -p data/traces published
veltra simulate "$source/examples/attach_session.tsv" --trace data/traces/1.bin \
  --database published/modem.json >/dev/null
veltra db add published/modem.json --cache data/cache >/dev/null
for i in 2 3 4 5; do cp data/traces/1.bin data/traces/$i.bin; done

sed -n '/^mkdir -p .data/,/^```/p' "$source/docs/cluster.md" | grep -v '^```' >command.sh
grep -q 'parallel' command.sh || fail "no command in cluster.md"
sed -i "s|/data/|$work/data/|g; s| --sshloginfile nodes.txt||" command.sh
bash command.sh >out.txt 2>&1 || fail "the command fails" "$(cat out.txt)"
[ "$(find data/captures -name '*.pcapng' | wc -l)" = 5 ] || fail "not every capture" "$(find data)"
[ "$(cat data/captures/*.jsonl | wc -l)" = 5 ] || fail "not every summary" "$(cat data/captures/*.jsonl)"
