#!/bin/sh
# What talvon-run's check of the scripts costs against the valuation it
# guards: a portfolio of N policies (default 10,000) written by the generate
# task (the second random portfolio: seven products and a surrender product
# per policy), checked alone (--check) and valued whole; both timed with
# the shell's clock. Usage: bench/check_cost.sh [BUILD_DIR] [N]
set -e
build=$(cd "${1:-build}" && pwd)
count=${2:-10000}
model=$(cd "$(dirname "$0")/.." && pwd)/models/pension/model.tal
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
echo '(define (portfolio) (assoc ("policies" ())))' > empty.tal
echo "(define (task) (generate $count \"a.bpf\" \"b.bpf\"))" > generate.tal
"$build/talvon-run" -q -o gen "$model" empty.tal generate.tal >/dev/null 2>&1
now() { date +%s.%N; }
start=$(now)
"$build/talvon-run" --check "$model" gen/b.bpf
checked=$(now)
"$build/talvon-run" -q -o out "$model" gen/b.bpf >/dev/null
valued=$(now)
echo "$count policies: check $(echo "$checked - $start" | bc) s, whole run $(echo "$valued - $checked" | bc) s"
