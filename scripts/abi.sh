#!/bin/bash
# Compares the binary interface of the libraries with that of the last release, which packaging/abi keeps.
#
#   scripts/abi.sh         fails if hosts that were built against the last release would no longer run
#   scripts/abi.sh keep    keeps the interface as it is now: part of making a release
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p build/abi

# With all types in the debug information, which other builds leave out. Types and names are the same without optimisation.
libraries() {
    cmake -S . -B build/abi/libraries -G Ninja -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE= -DCMAKE_CXX_FLAGS='-O0 -g' \
        -DVDI_BUILD_TESTS=OFF -DVDI_BUILD_TOOLS=OFF && cmake --build build/abi/libraries -j "$(nproc)"
}

# The interface of a library, without what differs between machines.
describe() {
    abidw --headers-dir include --drop-private-types --exported-interfaces-only --no-corpus-path --no-show-locs \
        --no-comp-dir-path --no-write-default-sizes --no-parameter-names --type-id-style hash "$1" | sed "s|$PWD/||g"
}

# The sizes of the public classes and the places of their fields, private ones too: hosts are compiled with them.
layouts() {
    {
        find include -name '*.h' -printf '#include <%P>\n' | LC_ALL=C sort
        echo 'using namespace VDIFrameworkCommon; using namespace DPL::dpllogger;'
        grep -rhE '^(class|struct) .*\{$' include | sed -E 's/^(class|struct) (VDIFRAMEWORKCOMMON_EXPORT )?([A-Za-z_]+).*/\3/' |
            LC_ALL=C sort | sed 's/.*/static_assert(sizeof(&) > 0);/'
    } >build/abi/layouts.cpp
    clang++-14 -std=c++17 -target x86_64-linux-gnu -I include -fsyntax-only -Xclang -fdump-record-layouts \
        build/abi/layouts.cpp >build/abi/layouts.dump
    awk '/^\*\*\* Dumping AST Record Layout/ { getline; ours = /[|] +(struct|class) (VDIFrameworkCommon|DPL)::[A-Za-z_:]+( [(]empty[)])?$/ }
        # Not what the fields of foreign types are made of.
        ours && /[|]( |   )[^ ]/ { print }
        ours && /\[sizeof=/ { ours = 0 }' build/abi/layouts.dump
}

# Both are descriptions: what is private is in neither, and abidiff need not tell it from the places that they do not have.
compare() {
    local library=build/abi/libraries/src/$1 name
    name=$(basename "$library")
    xz -dc "packaging/abi/$name.abi.xz" >"build/abi/$name.kept.abi"
    describe "$library" >"build/abi/$name.abi"
    abidiff --no-added-syms --no-show-locs "build/abi/$name.kept.abi" "build/abi/$name.abi"
}

names='Common/libVDIFrameworkCommon.so dpllogger/libtavixhuddleslogger.so'
case ${1:-check} in
    check)
        diff -u packaging/abi/layouts.txt <(layouts)
        libraries
        for library in $names; do
            compare $library
        done
        ;;
    keep)
        libraries
        for library in $names; do
            describe build/abi/libraries/src/$library | xz -9 >"packaging/abi/$(basename $library).abi.xz"
        done
        layouts >packaging/abi/layouts.txt
        ;;
    *)
        sed -n '2,5s/^# \{0,1\}//p' "$0"
        exit 2
        ;;
esac
