# A Slurm of four nodes on this machine, for scripts/check-cluster: with its own munge, key, ports and
# folders, all below $dir, beside whatever the system has. Sourced, not run.
# shellcheck shell=bash disable=SC2154  # dir is that of the check

slurm_nodes=(node1 node2 node3 node4)
declare -A daemons=()

# free_port: a first port of five that nobody listens at.
free_port() {
    local first port
    for ((first = 21000; first < 30000; first += 10)); do
        for ((port = first; port < first + 5; ++port)); do
            ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || continue 2
        done
        echo "$first"
        return
    done
    fail "No free ports."
}

write_slurm_configuration() {
    local first host user
    first=$(free_port)
    host=$(uname -n)
    user=$(id -un)
    cat >"$dir/slurm.conf" <<END
ClusterName=check
SlurmctldHost=${host%%.*}(127.0.0.1)
SlurmctldPort=$first
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
AuthInfo=socket=$dir/munge/socket
CredType=cred/munge
StateSaveLocation=$dir/state
SlurmdSpoolDir=$dir/spool/%n
SlurmctldPidFile=$dir/slurmctld.pid
SlurmdPidFile=$dir/%n.pid
SlurmctldLogFile=$dir/slurmctld.log
SlurmdLogFile=$dir/%n.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/linear
MpiDefault=none
SchedulerParameters=batch_sched_delay=0,bf_interval=1
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
# A node that died is noticed soon, and what ran on it is lost: the worst case.
SlurmdTimeout=10
JobRequeue=0
ReturnToService=2
NodeName=node[1-4] NodeHostname=${host%%.*} NodeAddr=127.0.0.1 Port=[$((first + 1))-$((first + 4))] CPUs=1
PartitionName=all Nodes=ALL Default=YES State=UP
END
    export SLURM_CONF=$dir/slurm.conf
}

# Slurm's and munge's programs are in folders of root's path.
start_slurm() {
    PATH=$PATH:/usr/sbin
    mkdir -p "$dir"/{munge,state,spool}
    chmod 755 "$dir" "$dir/munge"
    (umask 077 && head --bytes=1024 /dev/urandom >"$dir/munge/key")
    write_slurm_configuration
    munged --key-file="$dir/munge/key" --socket="$dir/munge/socket" --pid-file="$dir/munge/pid" \
        --log-file="$dir/munge/log" --seed-file="$dir/munge/seed"
    daemons[munged]=$(<"$dir/munge/pid")
    slurmctld -c
    wait_for "slurmctld" test -s "$dir/slurmctld.pid"
    daemons[slurmctld]=$(<"$dir/slurmctld.pid")
    local node
    for node in "${slurm_nodes[@]}"; do
        start_node "$node"
    done
    wait_for "four nodes" are_nodes_idle
}

start_node() {
    mkdir -p "$dir/spool/$1"
    rm -f "$dir/$1.pid"
    slurmd -N "$1"
    wait_for "slurmd of $1" test -s "$dir/$1.pid"
    daemons[$1]=$(<"$dir/$1.pid")
}

are_nodes_idle() {
    [[ $(sinfo --noheader --states=idle --format=%D 2>/dev/null) == 4 ]]
}

is_node_down() {
    [[ $(sinfo --noheader --nodes="$1" --format=%T) == down* ]]
}

is_queue_empty() {
    [[ -z $(squeue --noheader) ]]
}

# kill_node NODE STEP PROGRAM: ends what runs on it as a power cut does: its slurmd, the one step of a
# search, its program, and what Slurm has put between.
kill_node() {
    local node=$1 step=$2 program=$3 between
    between=$(ps -o ppid= -p "$step")
    kill -KILL "${daemons[$node]}" "${between//[[:space:]]/}" "$step" "$program"
    unset "daemons[$node]"
}

stop_slurm() {
    local name
    for name in "${slurm_nodes[@]}" slurmctld munged; do
        [[ -z ${daemons[$name]-} ]] || kill "${daemons[$name]}" 2>/dev/null || true
    done
    for name in "${!daemons[@]}"; do
        wait_for "the end of $name" has_ended "${daemons[$name]}"
    done
}

# Where nobody collects them, ended processes stay as zombies.
has_ended() {
    [[ $(ps -o stat= -p "$1" || true) =~ ^(Z.*)?$ ]]
}
