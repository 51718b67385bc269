#!/bin/bash
# Builds the libraries, the agent and the tools with each compiler, standard library, version of C++ and kind of build, and runs
# the unit tests in two combinations that are far from each other and from what the other stages run. A line for each.
#
#   scripts/matrix.sh             all combinations
#   scripts/matrix.sh PATTERN     those whose names fit the pattern, such as 'C\+\+23 Release'
set -uo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
mkdir -p build/matrix

# Name, compiler, flags.
compilers='
g++|g++|
clang libstdc++|clang++-14|-stdlib=libstdc++
clang libc++|clang++-14|-stdlib=libc++
'
tested='|g++ C++23 Release|clang libc++ C++23 Debug|'

# Reading what the files include takes the most time, so many files are compiled as one where no tests are run. Then g++ warns of
# types that only their file knows as if that were a header.
configure() {
    local folder=$1 compiler=$2 flags=$3 standard=$4 type=$5 tests=$6 kind=(-DVDI_BUILD_TESTS=ON -DVDI_OBJCXX_COMPILER=OFF)
    if [ "$tests" = no ]; then
        kind=(-DVDI_BUILD_TESTS=OFF -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12)
        [ "$compiler" != g++ ] || flags+=' -Wno-subobject-linkage'
    fi
    cmake -S . -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" "${kind[@]}" \
        -DCMAKE_CXX_STANDARD="$standard" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS_DEBUG=-g1 \
        -DVDI_WARNINGS_AS_ERRORS=ON
}

# What is compiled of src/ has the version of C++ that its line says, by whichever of its names this compiler knows.
has_standard() {
    local sources="-c $PWD/(build/matrix/[^/]+/)?src/" option='-std=(c|gnu)[+][+](20|2a) '
    if [ "$2" = 23 ]; then
        option='-std=(c|gnu)[+][+](23|2b) '
    fi
    ! grep -E -e "\"command\": .* $sources" "$1/compile_commands.json" | grep -vE -e "$option"
}

with_tests() {
    cmake --build "$1" -j "$jobs" --target VDIFrameworkCommon vdictl vdi-agent private-shm tests-unit &&
        "$1/src/tools/private-shm/private-shm" true &&
        ctest --test-dir "$1" -j $((jobs * 2)) -L unit --no-tests=error --output-on-failure
}

combination() {
    local folder=$1 standard=$4 tests=$6
    configure "$@" && has_standard "$folder" "$standard" || return 1
    if [ "$tests" = no ]; then
        cmake --build "$folder" -j "$jobs"
    else
        with_tests "$folder"
    fi
}

# The name of a combination, and what combination takes behind the folder.
one() {
    local name=$1 start=$SECONDS tests=no log=build/matrix/log.txt passed
    shift
    [[ $tested != *"|$name|"* ]] || tests=yes
    if ! combination "build/matrix/${name//[ +]/_}" "$@" $tests >$log 2>&1 </dev/null; then
        cat $log
        echo "failed: $name"
        return 1
    fi
    passed=$(grep -E '^[0-9]+% tests passed' $log)
    echo "built: $name, $((SECONDS - start)) s${passed:+; unit tests: $passed}"
}

count=0
while IFS='|' read -r family compiler flags; do
    [ -n "$family" ] || continue
    for standard in 20 23; do
        for type in Debug Release; do
            name="$family C++$standard $type"
            [[ $name =~ ${1:-.} ]] || continue
            one "$name" "$compiler" "$flags" $standard $type || exit 1
            count=$((count + 1))
        done
    done
done <<<"$compilers"
if [ $count -eq 0 ]; then
    echo "no such combination"
    exit 1
fi
