#!/bin/sh
# The scheduler's overhead: one random portfolio valued by talvon-run in
# chunks on this machine, then the same chunks as a Slurm job array on the
# one-node cluster of scripts/slurm-cluster (started here, as root, and
# stopped again unless it was running already). Prints the table in
# bench/README.md.
#
#   bench/slurm_bench.sh BIN [POLICIES [CHUNK,...]]   (default 100000 200,1000)
#
# A row per chunk size: both runs' wall times, the difference (the
# overhead), that per task on one of the node's CPUs, whether the result
# files are the same to the byte, and the machine's load before, between
# and after the two runs.
set -eu
bin="$(cd "$1" && pwd)"
policies="${2:-100000}"
chunks="${3:-200,1000}"
top="$(cd "$(dirname "$0")/.." && pwd)"
work="$(mktemp -d)"
cluster_was_up=yes
"$top/scripts/slurm-cluster" status >/dev/null 2>&1 || cluster_was_up=""
finish() {
  cd /
  rm -rf "$work"
  [ -n "$cluster_was_up" ] || "$top/scripts/slurm-cluster" stop >/dev/null
}
trap finish EXIT
eval "$("$top/scripts/slurm-cluster" start | grep '^export ')"
cd "$work"
model="$top/models/pension/model.tal"

printf '(define (portfolio) (assoc ("policies" ())))\n' >empty.tal
printf '(define (task) (generate %s "a.pf" "b.pf"))\n' "$policies" >generate.tal
"$bin/talvon-run" -q -o gen "$model" empty.tal generate.tal >/dev/null 2>&1

now() { date +%s.%N; }
seconds() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", b - a }'; }
load() { cut -d ' ' -f 1 /proc/loadavg; }

printf '| policies | chunk | tasks | local s | Slurm s | overhead s | per task s | results | load 1 min |\n'
printf '|---:|---:|---:|---:|---:|---:|---:|---|---|\n'
cpus="$(sinfo -h -N -o %c | head -n 1)"
for chunk in $(echo "$chunks" | tr , ' '); do
  rm -rf local cluster
  load_before="$(load)"
  start="$(now)"
  "$bin/talvon-run" -q --chunk "$chunk" -o local "$model" gen/b.pf >/dev/null
  local_s="$(seconds "$start" "$(now)")"
  load_middle="$(load)"
  start="$(now)"
  "$bin/talvon-run" -q --slurm --chunk "$chunk" -o cluster "$model" gen/b.pf >/dev/null
  slurm_s="$(seconds "$start" "$(now)")"
  load_after="$(load)"
  same=identical
  cmp -s local/cashflows.csv cluster/cashflows.csv && cmp -s local/reserves.csv cluster/reserves.csv ||
    same=DIFFERENT
  tasks=$(((policies + chunk - 1) / chunk))
  overhead="$(seconds "$local_s" "$slurm_s")"
  printf '| %s | %s | %s | %.1f | %.1f | %.1f | %.2f | %s | %s, %s, %s |\n' "$policies" "$chunk" "$tasks" \
    "$local_s" "$slurm_s" "$overhead" "$(awk -v o="$overhead" -v c="$cpus" -v t="$tasks" 'BEGIN { print o * c / t }')" \
    "$same" "$load_before" "$load_middle" "$load_after"
done
