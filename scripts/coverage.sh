#!/bin/bash
# Reports how much of src/ the tests of the coverage build ran through, and fails below the floors. Prints what is below.
#
#   scripts/coverage.sh LINES BRANCHES    the floors, in percent
#
# Branches are those that the sources have: clang counts both ways of each condition, and none of what a compiler adds where an
# exception may pass. The counters are in files that the processes map, so what is killed has counted too.
set -euo pipefail
cd "$(dirname "$0")/.."
floor_lines=$1
floor_branches=$2
build=build/coverage

llvm-profdata-14 merge -sparse $build/profiles/*.profraw -o $build/all.profdata

# What ships. Tests that compile a unit once more, with fakes around it, count for it all the same.
objects=()
for file in Common/libVDIFrameworkCommon.so dpllogger/libtavixhuddleslogger.so tools/vdictl/vdictl tools/agent/vdi-agent \
    tools/private-shm/private-shm; do
    objects+=(-object $build/src/$file)
done
report=(-instr-profile=$build/all.profdata "${objects[@]:1}" "$PWD/src")
llvm-cov-14 report "${report[@]}" >$build/coverage.txt 2>$build/coverage.log
llvm-cov-14 show "${report[@]}" -format=html -output-dir=$build/html -show-branches=count 2>>$build/coverage.log

# Lines are the eighth to the tenth column, branches the last three.
awk -v lines="$floor_lines" -v branches="$floor_branches" '
    NF < 13 || $1 == "Filename" { next }
    { line = $10 + 0; branch = $13 == "-" ? 100 : $13 + 0 }
    $1 == "TOTAL" {
        total = 1
        printf "covered: lines %.2f %%, branches %.2f %%\n", line, branch
        bad = line < lines || branch < branches
        next
    }
    line < lines || branch < branches { printf "%6.2f %6.2f  %s\n", line, branch, $1 }
    END { exit bad || !total }' $build/coverage.txt
