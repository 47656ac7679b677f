#!/usr/bin/env bash
# The array job of examples/slurm decodes every trace and makes one table, on a real Slurm of
# one node. A node that dies costs nothing that was decoded.
#   slurm_test.sh VELTRA EXAMPLES
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/../checks.sh"
veltra=$1 examples=$2
command -v jq >/dev/null || { echo "jq is not installed"; exit 77; }
. "$(dirname "$0")/cluster.sh"

mkdir -p traces/day1 traces/day2 bin published
"$veltra" simulate "$examples/attach_session.tsv" --trace traces/day1/a.bin \
  --database published/modem.json >/dev/null
"$veltra" db add published/modem.json --cache cache >/dev/null
cp traces/day1/a.bin traces/day1/b.bin
cp traces/day1/a.bin traces/day2/c.bin
cp traces/day1/a.bin traces/day2/d.bin
: >traces/day2/empty.bin

# What the node finds as "veltra": the first run of the first task decodes and then does not end.
cat >bin/veltra <<END
#!/usr/bin/env bash
if [ \$SLURM_ARRAY_TASK_ID = 1 ] && mkdir "$work/first_run" 2>/dev/null; then
  "$veltra" "\$@"
  rm -f "$work/captures/day1/a.pcapng"
  touch "$work/hangs"
  sleep infinity
fi
exec "$veltra" "\$@"
END
chmod +x bin/veltra
export PATH=$work/bin:$PATH

# Not while the controller does not answer, either.
no_job_is_left() {
  local left
  left=$(squeue -h -o %i 2>/dev/null) && [ -z "$left" ]
}

read -r array table < <("$examples/slurm/submit" traces captures cache 2)
until_true "a task that hangs" test -e hangs
before=$(
  sha256sum captures/day2/c.pcapng
  stat -c %y captures/day2/c.pcapng
)
kill_node
until_true "the death of the node" node_is down
start_node
until_true "the node's return" node_is idle
# Slurm waits for two minutes before it starts the task again; at once, and the end of the old
# one might hit the new one.
for task in $(squeue -h -r -j "$array" -t PENDING -o %i); do
  scontrol update jobid="$task" starttime=now+15
done
until_true "the end of the jobs" no_job_is_left

[ "$(find captures -name '*.pcapng' | sort | xargs)" = \
  "captures/day1/a.pcapng captures/day1/b.pcapng captures/day2/c.pcapng captures/day2/d.pcapng" ] ||
  cluster_failed "not every capture: $(find captures)"
[ -z "$(find captures -name '*.part')" ] || fail "parts were left"
# What was decoded before is not decoded again.
[ "$(sha256sum captures/day2/c.pcapng; stat -c %y captures/day2/c.pcapng)" = "$before" ] ||
  fail "a capture was written again"
[ "$(cat captures/summaries/*.jsonl | jq -r .input | grep -c 'day1/a.bin')" = 2 ] ||
  fail "the missing one was not decoded again" "$(cat captures/summaries/*)"

# The table has every trace once, and the failed one with its reason.
cut -f 1-3 captures/summary.tsv | sed "s|$work/||" | tail -n +2 | sort >got.txt
printf 'traces/day1/a.bin\t0\t53\ntraces/day1/b.bin\t0\t53\ntraces/day2/c.bin\t0\t53\n' >wanted.txt
printf 'traces/day2/d.bin\t0\t53\ntraces/day2/empty.bin\t4\t0\n' >>wanted.txt
same got.txt wanted.txt "the tables"
grep -q 'empty.bin.*is empty' captures/summary.tsv || fail "no reason" "$(cat captures/summary.tsv)"
grep -q '^5 traces, 1 failed$' "captures/logs/$table.txt" || fail "no count" "$(cat captures/logs/*)"
