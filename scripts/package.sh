#!/bin/bash
# Makes the Debian packages from the files of the working tree: build/packages/*.deb.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh package
version=$(sed -nE 's/^project\(VDIFrameworkCommon VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
packaged=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
if [ "$packaged" != "$version" ]; then
    echo "packaging/debian/changelog is about $packaged, CMakeLists.txt about $version"
    exit 1
fi

work=build/packages
source=$work/vdiframeworkcommon-$version
rm -rf $work
mkdir -p "$source"
git ls-files -coz --exclude-standard | xargs -0 cp --parents -t "$source"
cp -R packaging/debian "$source/debian"
cd "$source"
# The manifest of built files and its hashes stay beside the packages.
DEB_BUILD_OPTIONS="parallel=$(nproc) nocheck ${DEB_BUILD_OPTIONS:-}" dpkg-buildpackage --build=binary --no-sign
