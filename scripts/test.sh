#!/bin/bash
# Installs what is missing, builds in every way that is supported, and runs the checks and the tests. Prints a line for each
# stage, and all that a stage printed if it fails; the test runner's closing lines end the output.
#
#   scripts/test.sh            format, includes, layout, doxygen, tidy, packages, dev, asan and threads
#   scripts/test.sh STAGE…     some of these, and of tidy-tool, tsan, cppcheck, iwyu, clang-libcxx, matrix, coverage, valgrind,
#                              abi and arm64
set -uo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
    sed -n '2,7s/^# \{0,1\}//p' scripts/test.sh
    exit 0
fi
scripts/setup.sh test || exit 1

log=$(mktemp)
trap 'rm -f "$log"' EXIT
jobs=$(nproc)

sources() { git ls-files -co --exclude-standard -- '*.cpp' '*.h' '*.mm'; }

format() { scripts/check-names.sh && sources | xargs clang-format-14 --dry-run -Werror; }

# Every public declaration says what it does, and every picture is what its source says.
doxygen() {
    scripts/setup.sh docs && cmake -S docs -B build/docs -G Ninja && cmake --build build/docs &&
        docs/pictures/draw.sh --check
}

build() { cmake --preset "$1" && cmake --build --preset "$1" -j "$jobs"; }

# Under a preset that is built: the tests, several at a time. Without a /dev/shm of their own they would all be skipped.
tests() {
    build "$1" && "build/$1/src/tools/private-shm/private-shm" true && ctest --preset "$1" -j $((jobs * 2))
}

# The thread sanitizer on what is there for threads; the stage tsan runs it on everything.
threads() {
    cmake --preset tsan && cmake --build --preset tsan -j "$jobs" --target private-shm \
        ConditionTest EventTest LockDeadlockTest MacosxEventProcessTest MacosxEventTest MainRunLoopTest MutexTest \
        NamedConditionProcessTest NamedConditionTest NamedMutexTest PoolWorkerTest ProcessMonitorTest ReentrantRWLockTest \
        RWLockStressTest RWLockTest SHMStorageTest TaskDispatcherTest ThreadPoolTest TimerHelperTest TimerStressTest TimerTest \
        VDIRunnerCounterTest LogContentionTest LogWaitingTest &&
        build/tsan/src/tools/private-shm/private-shm true &&
        ctest --preset tsan -j $((jobs * 2)) -L 'unit|multiprocess|stress' -E '_NOT_BUILT$|^Documents|^InstalledTree|Exports'
}

# Reading what the files include takes the most time, so the preset puts many files into one. vdictl includes the most, and is
# a stage of its own.
read_by_clang_tidy() {
    cmake --preset tidy && sed -nE 's/^ *"file": "(.*)",?$/\1/p' build/tidy/compile_commands.json | sort -u | grep "$@" |
        xargs -P "$jobs" -n 1 clang-tidy-14 --quiet -p build/tidy --checks=-bugprone-suspicious-include
}
tidy() { read_by_clang_tidy -v /tools/vdictl/; }
tidy_tool() { read_by_clang_tidy /tools/vdictl/; }

# What is compiled under tests/: as the commands of the dev build say.
layout() { cmake --preset dev && scripts/check-tests-built.sh build/dev; }

checked_by_cppcheck() {
    scripts/setup.sh checks && mkdir -p build/cppcheck &&
        cppcheck -q -j "$jobs" --std=c++20 --language=c++ --enable=warning,performance,portability --template=gcc \
            --suppressions-list=.cppcheck-suppressions --error-exitcode=1 --cppcheck-build-dir=build/cppcheck \
            -I include -I src/Common -I src/Common/src -I src/dpllogger -I src/tools/vdictl src
}

# The Debian packages, not optimised, to save time, and a host that is built from them; they are unpacked, not installed.
packages() {
    scripts/setup.sh package && DEB_BUILD_OPTIONS=noopt scripts/package.sh &&
        lintian --allow-root --fail-on error build/packages/*.changes &&
        cmake --preset dev && cmake --build --preset dev -j "$jobs" --target private-shm recording_logger &&
        cmake -DPACKAGES="$PWD/build/packages" -DWORK="$PWD/build/packages/check" -DCONSUMER="$PWD/tests/packaging/consumer" \
            -DCOMPILER=g++ -DPRIVATE_SHM="$PWD/build/dev/src/tools/private-shm/private-shm" \
            -DRECORDING_LOGGER="$PWD/build/dev/tests/support/recording" -P tests/packaging/CheckPackages.cmake
}

# The libraries beside those of the last release.
abi() { scripts/setup.sh abi && scripts/abi.sh; }

# What the tests run through of src/, in percent of its lines and branches. Load reaches nothing that the others do not.
coverage() {
    scripts/setup.sh coverage && rm -rf build/coverage/profiles && cmake --preset coverage &&
        cmake --build --preset coverage -j "$jobs" --target private-shm tests-unit tests-multiprocess &&
        build/coverage/src/tools/private-shm/private-shm true &&
        ctest --preset coverage -j $((jobs * 2)) -L 'unit|multiprocess' -E '^Documents|^InstalledTree|Exports' &&
        scripts/coverage.sh 95 85
}

# For another processor, in an emulator.
arm64() {
    local system=$PWD/build/arm64-system
    scripts/setup.sh arm64 && scripts/arm64-system.sh "$system" && build arm64 &&
        QEMU_LD_PREFIX=$system GIO_LAUNCH_DESKTOP=$system/usr/lib/aarch64-linux-gnu/glib-2.0/gio-launch-desktop \
            scripts/emulated.sh ctest --preset arm64 -j "$jobs" \
            -E "^($(grep -v '^#' tests/emulated-skips.txt | grep . | paste -s -d '|'))\$"
}

run_stage() {
    case $1 in
        format) format ;;
        doxygen) doxygen ;;
        includes) scripts/check-includes.sh ;;
        layout) layout ;;
        abi) abi ;;
        packages) packages ;;
        matrix) scripts/matrix.sh ;;
        coverage) coverage ;;
        valgrind) scripts/setup.sh valgrind && scripts/valgrind.sh ;;
        cppcheck) checked_by_cppcheck ;;
        iwyu) scripts/setup.sh iwyu && scripts/iwyu.sh ;;
        threads) threads ;;
        tidy) tidy ;;
        tidy-tool) tidy_tool ;;
        arm64) arm64 ;;
        dev | clang-libcxx | asan | tsan) tests "$1" ;;
        *)
            echo "no such stage: $1"
            return 2
            ;;
    esac
}

stages=("$@")
if [ ${#stages[@]} -eq 0 ]; then
    stages=(format includes layout doxygen tidy packages dev asan threads)
fi
closing=
for stage in "${stages[@]}"; do
    start=$SECONDS
    if ! run_stage "$stage" >"$log" 2>&1; then
        cat "$log"
        echo "FAILED: $stage, after $((SECONDS - start)) s"
        exit 1
    fi
    grep -E '^(built|covered): ' "$log"
    result=$(grep -E '^[0-9]+% tests passed' "$log" | tail -n 1)
    echo "passed: $stage, $((SECONDS - start)) s${result:+: $result}"
    if [ -n "$result" ]; then
        closing=$(grep -A 40 -E '^[0-9]+% tests passed' "$log")
    fi
done
printf '\n%s\n' "$closing"
