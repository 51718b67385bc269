#!/bin/bash
# Runs the tests with several processes under valgrind: no error, and nothing definitely lost, in any of the processes.
#
#   scripts/valgrind.sh [PATTERN]     those whose names fit the pattern
set -euo pipefail
cd "$(dirname "$0")/.."
build=$PWD/build/valgrind
jobs=$(nproc)

# Each process has a log of its own, so that one whose end nobody looks at is seen as well. Threads take turns: tests wait for
# each other's steps.
wrapper="valgrind;-q;--vgdb=no;--error-exitcode=99;--fair-sched=try;--leak-check=full;--show-leak-kinds=definite"
wrapper+=";--errors-for-leak-kinds=definite;--num-callers=30;--suppressions=$PWD/tests/valgrind.supp"
wrapper+=";--trace-children=yes;--trace-children-skip=/bin/*,/usr/bin/*;--log-file=$build/logs/%p"

cmake --preset dev -B "$build" -DVDI_OBJCXX_COMPILER=OFF -DVDI_TEST_WRAPPER="$wrapper"
cmake --build "$build" -j "$jobs" --target private-shm tests-multiprocess
"$build/src/tools/private-shm/private-shm" true

rm -rf "$build/logs"
mkdir -m 1777 "$build/logs"
# What compiles and runs other programs, not these tests, is left out as well.
skips=$(grep -v '^#' tests/valgrind-skips.txt | grep . | paste -s -d '|')
passed=0
ctest --test-dir "$build" -j $((jobs * 2)) -L multiprocess -R "${1:-.}" -E "^Documents|^InstalledTree|^($skips)\$" --no-tests=error \
    --output-on-failure || passed=$?

# A process whose end no test looks at has its say here. Which system calls and requests valgrind does not know, it says as well.
if grep -rhE '^==[0-9]+== ' "$build/logs" | grep -vE 'unhandled ioctl|could cause spurious value errors|README_MISSING_SYSCALL'; then
    echo "valgrind found errors"
    passed=1
fi
exit "$passed"
