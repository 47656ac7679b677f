# shellcheck shell=bash
# cluster.sh - a Slurm of one node, this machine, for the script that sources it. It ends with
# the script. Below $work, as checks.sh has it.
for program in slurmctld slurmd munged sbatch; do
  # They are not among the packages that ./test installs: some of them start services.
  command -v $program >/dev/null ||
    { echo "$program is not installed; Debian: slurmctld slurmd slurm-client munge"; exit 77; }
done
chmod 755 "${work:?}"
mkdir -m 755 cluster cluster/munge cluster/state cluster/spool
dd if=/dev/urandom of=cluster/munge.key bs=1024 count=1 status=none
chmod 400 cluster/munge.key
host=$(hostname -s)
# Ports that nobody has now.
read -r port_of_controller port_of_node < <(python3 -c '
import socket
sockets = [socket.socket() for _ in range(2)]
for each in sockets: each.bind(("127.0.0.1", 0))
print(*[each.getsockname()[1] for each in sockets])')
cat >cluster/slurm.conf <<END
ClusterName=test
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$port_of_controller
SlurmdPort=$port_of_node
SlurmUser=$(id -un)
SlurmdUser=$(id -un)
AuthType=auth/munge
AuthInfo=socket=$work/cluster/munge/socket
StateSaveLocation=$work/cluster/state
SlurmdSpoolDir=$work/cluster/spool
SlurmctldPidFile=$work/cluster/slurmctld.pid
SlurmdPidFile=$work/cluster/slurmd.pid
SlurmctldLogFile=$work/cluster/slurmctld.log
SlurmdLogFile=$work/cluster/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
SlurmdTimeout=5
InactiveLimit=0
NodeName=$host NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=$host Default=YES MaxTime=INFINITE State=UP OverSubscribe=NO
END
export SLURM_CONF=$work/cluster/slurm.conf

cluster_failed() { fail "$1" "$(tail -n 20 cluster/*.log)"; }
# until_true WHAT COMMAND...: waits for a state of the cluster.
until_true() {
  local what=$1 tries=0
  shift
  until "$@"; do
    tries=$((tries + 1))
    [ $tries -lt 2000 ] || cluster_failed "waited in vain: $what"
    sleep 0.1
  done
}
node_is() { [[ "$(sinfo -h -o %t)" == "$1"* ]]; }

start_node() {
  slurmd -D >cluster/slurmd.out 2>&1 &
  node=$!
}
# The node is gone, with all that runs on it: its steps are not children of slurmd, but have
# this cluster's configuration and a job in their environment.
kill_node() {
  local each
  kill -KILL "$node" 2>/dev/null || true
  wait "$node" 2>/dev/null || true
  for each in /proc/[0-9]*; do
    grep -qzxF "SLURM_CONF=$SLURM_CONF" "$each/environ" 2>/dev/null || continue
    if [ "$(cat "$each/comm" 2>/dev/null)" = slurmstepd ] ||
      grep -qzs '^SLURM_JOB_ID=' "$each/environ"; then
      kill -KILL "${each#/proc/}" 2>/dev/null || true
    fi
  done
}
trap 'kill_node; kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "${work:?}" "${work:?}".*' EXIT

munged --foreground --force --key-file="$work/cluster/munge.key" \
  --socket="$work/cluster/munge/socket" --pid-file="$work/cluster/munge/pid" \
  --log-file="$work/cluster/munged.log" --seed-file="$work/cluster/munge/seed" \
  >cluster/munged.out 2>&1 &
until_true "munge" test -S cluster/munge/socket
slurmctld -D >cluster/slurmctld.out 2>&1 &
start_node
until_true "the node" node_is idle
