#!/bin/bash
# Installs what building, testing and showing the project needs on Debian 12. Does nothing when it is all there.
#
#   scripts/setup.sh run    what the programs need
#   scripts/setup.sh test   what the tests and checks need as well
#   scripts/setup.sh docs   what checking the documents and drawing their pictures needs
#   scripts/setup.sh package, checks, iwyu, abi, coverage, valgrind
#                           what making the Debian packages, the checks of the sources, of what they include and of the
#                           interface, measuring what the tests run through, and looking for errors of memory need as well
#   scripts/setup.sh arm64  what building and testing for 64-bit ARM needs
#   scripts/setup.sh bench  what the benchmarks need, with all that ours are measured beside
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libcli11-dev libspdlog-dev libfmt-dev libglib2.0-dev nlohmann-json3-dev)
if [ "${1:-run}" = test ]; then
    packages+=(git googletest locales clang-14 clang-format-14 clang-tidy-14 libc++-14-dev libc++abi-14-dev libclang-rt-14-dev
        libgnustep-base-dev libobjc-12-dev libblocksruntime-dev)
fi
if [ "${1:-run}" = docs ]; then
    packages=(cmake ninja-build doxygen graphviz)
fi
case ${1:-run} in
    package) packages+=(git build-essential debhelper dpkg-dev fakeroot lintian) ;;
    abi) packages+=(abigail-tools clang-14 xz-utils) ;;
    checks) packages+=(git cppcheck) ;;
    iwyu) packages+=(clang-14 git iwyu) ;;
    coverage) packages+=(binutils clang-14 libclang-rt-14-dev llvm-14) ;;
    valgrind) packages+=(git googletest valgrind) ;;
esac
if [ "${1:-run}" = bench ]; then
    packages+=(python3 libbenchmark-dev libabsl-dev libboost-dev libpoco-dev libtbb-dev libuv1-dev qt6-base-dev)
fi
if [ "${1:-run}" = arm64 ]; then
    packages+=(googletest locales g++-aarch64-linux-gnu qemu-user)
fi

missing=()
for package in "${packages[@]}"; do
    if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
        missing+=("$package")
    fi
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi
echo "installing: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
fi
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
