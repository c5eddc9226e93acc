#!/bin/sh
# talvon-run --slurm on the one-node cluster of scripts/slurm-cluster:
#
#   slurm_test.sh BIN CASE
#
# BIN holds talvon and talvon-run. CASE:
#   same         300 policies in 6 tasks, 2 at a time, give every cashflow
#                and reserve of the local run as one program, to 1e-12
#                relative
#   failed_task  one running task is cancelled: the run fails naming its
#                task and chunk, the job is cancelled, no results are written
#   interrupted  talvon-run gets SIGINT: exit 130, the job cancelled, the
#                chunk folder gone
set -eu
bin="$1"
case="$2"
top="$(cd "$(dirname "$0")/../.." && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# 300 random policies from talvon's generate task.
printf '(define (portfolio) (assoc ("policies" ())))\n' >empty.tal
printf '(define (task) (generate 300 "a.pf" "b.pf"))\n' >generate.tal
"$bin/talvon-run" -q -o gen "$top/models/pension/model.tal" empty.tal generate.tal >generate.log 2>&1 ||
  fail "generate: $(cat generate.log)"
model="$top/models/pension/model.tal"
portfolio="$work/gen/b.pf"

# Every line of both CSV files alike in its keys, its values within 1e-12
# of each other relative to the larger.
same_numbers() {
  [ "$(wc -l <"$1")" -eq "$(wc -l <"$2")" ] || fail "$1 and $2 differ in length"
  paste -d, "$1" "$2" | awk -F, '
    NR == 1 { next }
    {
      n = NF / 2
      for (i = 1; i < n; i++) if ($i != $(i + n)) { print "keys differ: " $0; exit 1 }
      a = $n; b = $(2 * n)
      d = a - b; if (d < 0) d = -d
      m = a < 0 ? -a : a; if (b > m) m = b; if (-b > m) m = -b
      if (d > 1e-12 * m) { print "values differ: " $0; exit 1 }
    }' || fail "$1 and $2 differ"
}

# A tcc on PATH (the tasks get the submitter's PATH) that stops the first
# compilation for good and notes its task and pid: a task caught running.
hang_first_compile() {
  mkdir fake
  cat >fake/tcc <<EOF
#!/bin/sh
if mkdir "$work/hung" 2>/dev/null; then
  echo "\$SLURM_ARRAY_TASK_ID \$\$" >"$work/hung/task.tmp"
  mv "$work/hung/task.tmp" "$work/hung/task"
  exec sleep 600
fi
exec $(command -v tcc) "\$@"
EOF
  chmod +x fake/tcc
  PATH="$work/fake:$PATH"
}

wait_for() { # file
  tries=0
  until [ -s "$1" ]; do
    tries=$((tries + 1))
    [ "$tries" -lt 600 ] || fail "no $1 after 60 s"
    sleep 0.1
  done
}

# Starts the Slurm run in the background: $run_pid, $job, $task, $hung_pid.
start_hanging_run() {
  hang_first_compile
  "$bin/talvon-run" --slurm --chunk 50 -o out "$model" "$portfolio" >stdout 2>stderr &
  run_pid=$!
  wait_for "$work/hung/task"
  job="$(sed -n 's/^talvon-run: Slurm job \([0-9]*\):.*/\1/p' stderr)"
  [ -n "$job" ] || fail "no job id in: $(cat stderr)"
  read -r task hung_pid <"$work/hung/task"
}

# No task of the job is left, nor the hung compiler.
nothing_left() {
  live="$(squeue --noheader --array --jobs="$job" --format=%T 2>/dev/null | grep -v -e COMPLETED \
    -e CANCELLED -e FAILED || true)"
  [ -z "$live" ] || fail "tasks of job $job left: $live"
  if kill -0 "$hung_pid" 2>/dev/null; then fail "the hung compiler $hung_pid is left"; fi
  [ ! -e out/cashflows.csv ] || fail "results written"
}

status=0
case "$case" in
  same)
    "$bin/talvon-run" -q --chunk 0 -o local "$model" "$portfolio" >/dev/null
    "$bin/talvon-run" -q --slurm --jobs 2 --chunk 50 --shared-dir "$work/shared" -o cluster "$model" \
      "$portfolio" >/dev/null
    [ "$(wc -l <cluster/cashflows.csv)" -gt 1440 ] || fail "too few cashflows"
    same_numbers local/cashflows.csv cluster/cashflows.csv
    same_numbers local/reserves.csv cluster/reserves.csv
    [ -z "$(ls shared)" ] || fail "the chunk folder is left: $(ls shared)"
    ;;
  failed_task)
    start_hanging_run
    scancel "${job}_$task"
    wait "$run_pid" || status=$?
    [ "$status" -eq 1 ] || fail "exit status $status, not 1: $(cat stderr)"
    grep -q -E "^talvon-run: Slurm task ${job}_$task ended CANCELLED (on|without valuing) chunk $task of 6 (.* )?in .*/000$task\$" \
      stderr || fail "no message for task $task: $(cat stderr)"
    nothing_left
    ;;
  interrupted)
    start_hanging_run
    kill -INT "$run_pid"
    wait "$run_pid" || status=$?
    [ "$status" -eq 130 ] || fail "exit status $status, not 130: $(cat stderr)"
    nothing_left
    [ -z "$(ls out | grep talvon-chunks)" ] || fail "the chunk folder is left"
    ;;
  *) fail "no case $case" ;;
esac
