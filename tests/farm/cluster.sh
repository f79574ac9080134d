# shellcheck shell=bash
# A Slurm of two nodes on this machine, on loopback, with its own keys, sockets, ports and state: nothing outside
# $cluster is touched. Sourced; needs $cluster, a plain folder name. Works as root in a container.
: "${cluster:?}"

port=$((20000 + RANDOM % 20000))

cluster_wait() { # SECONDS COMMAND...: until it succeeds
  local tenths=$(($1 * 10))
  shift
  for ((; tenths > 0; --tenths)); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.1
  done
  echo "waited in vain for: $*" >&2
  return 1
}

node_start() { slurmd -f "$SLURM_CONF" -N "$1"; }
node_pid() { cat "$cluster/slurmd.$1.pid"; }
nodes_idle() { [[ $(sinfo --noheader --Node --format=%T | sort -u) == idle ]]; }

cluster_start() {
  mkdir -p "$cluster"/{state,spool/n1,spool/n2}
  chmod 0755 "$cluster"
  head -c 128 /dev/urandom >"$cluster/key"
  chmod 0400 "$cluster/key"
  munged --force --key-file="$cluster/key" --socket="$cluster/munge.sock" --pid-file="$cluster/munged.pid" \
    --log-file="$cluster/munged.log" --seed-file="$cluster/seed"
  local host
  host=$(hostname -s)
  export SLURM_CONF=$cluster/slurm.conf
  cat >"$SLURM_CONF" <<CONF
ClusterName=orvandel
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$port
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=socket=$cluster/munge.sock,cred_expire=5
StateSaveLocation=$cluster/state
SlurmdSpoolDir=$cluster/spool/%n
SlurmctldPidFile=$cluster/slurmctld.pid
SlurmdPidFile=$cluster/slurmd.%n.pid
SlurmctldLogFile=$cluster/slurmctld.log
SlurmdLogFile=$cluster/slurmd.%n.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SwitchType=switch/none
MpiDefault=none
SchedulerParameters=sched_interval=1,bf_interval=1,batch_sched_delay=0
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
PropagateResourceLimitsExcept=NOFILE
ReturnToService=2
KillWait=2
SlurmdTimeout=5
NodeName=n[1-2] NodeHostname=$host NodeAddr=127.0.0.1 Port=[$((port + 1))-$((port + 2))] CPUs=1 State=UNKNOWN
PartitionName=render Nodes=n[1-2] Default=YES MaxTime=INFINITE State=UP
CONF
  cluster_wait 10 test -S "$cluster/munge.sock"
  slurmctld -c -f "$SLURM_CONF"
  node_start n1
  node_start n2
  cluster_wait 30 nodes_idle
}

cluster_stop() {
  local file pid
  for file in "$cluster"/{slurmd.n1,slurmd.n2,slurmctld,munged}.pid; do
    pid=$(cat "$file" 2>/dev/null) || continue
    kill "$pid" 2>/dev/null || continue
    cluster_wait 10 test ! -e "/proc/$pid/exe" || kill -9 "$pid" || true
  done
}
