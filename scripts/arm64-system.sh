#!/bin/bash
# Unpacks the libraries that programs for 64-bit ARM load into a folder, and changes nothing else of the machine:
#
#   scripts/arm64-system.sh FOLDER    nothing is done if it is there
set -euo pipefail

if [ -e "$1" ]; then
    exit 0
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{lists,archives}/partial "$work/system"
touch "$work/status"

# As if for a machine with that processor on which nothing is installed.
apt() {
    apt-get -qq -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Sandbox::User=root \
        -o Dir::State::lists="$work/lists" -o Dir::State::status="$work/status" -o Dir::State::extended_states="$work/extended" \
        -o Dir::Cache="$work" -o Dir::Cache::archives="$work/archives" "$@"
}
apt update
apt install -y --no-install-recommends --download-only libstdc++6 libglib2.0-0 >/dev/null
for package in "$work"/archives/*.deb; do
    dpkg-deb -x "$package" "$work/system"
done
mkdir -p "$(dirname "$1")"
mv "$work/system" "$1"
