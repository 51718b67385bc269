#!/bin/bash
# Builds everything in Release, runs all benchmark programs, and writes build/benchmarks: benchmarks.md with a table for each
# program, a picture each (.svg), and what was measured (.json). Run it on a machine that does nothing else.
#
#   scripts/benchmark.sh [REPETITIONS [PROGRAM…]]     9 repetitions of all programs, unless said otherwise
#
# Repetitions of the operations of a program are mixed at random, so that what slows the machine for a while hits all alike.
set -euo pipefail
cd "$(dirname "$0")/.."

repetitions=${1:-9}
shift || true
scripts/setup.sh bench
cmake --preset release
cmake --build --preset release -j "$(nproc)"

results=build/benchmarks
rm -rf $results
mkdir -p $results
{
    date '+%Y-%m-%d %H:%M'
    sed -n 's/^model name[^:]*: /; /p' /proc/cpuinfo | head -n 1
    echo ", $(nproc) processors; $(uname -sr); $(g++ --version | head -n 1); $repetitions repetitions"
} | tr -d '\n' >$results/machine.txt

programs=("$@")
if [ ${#programs[@]} -eq 0 ]; then
    programs=(build/release/bench/*Bench)
fi
for program in "${programs[@]}"; do
    name=$(basename "$program")
    echo "running $name"
    # Shared objects have fixed names: those of real agents are left alone.
    if ! build/release/src/tools/private-shm/private-shm "build/release/bench/$name" --benchmark_repetitions="$repetitions" \
        --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
        --benchmark_out="$results/$name.json" --benchmark_out_format=json >"$results/$name.log" 2>&1; then
        tail -n 20 "$results/$name.log"
        exit 1
    fi
done
python3 bench/report/main.py $results
echo "written: $results/benchmarks.md"
