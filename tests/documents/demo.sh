#!/bin/bash
# demo.sh AGENT FILE.printed: whether the demonstration prints each line that the document shows of it. Their order is the
# agents', who do not wait for each other.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/normalised.sh"
output=$(mktemp) || exit 1
trap 'rm -f "$output"' EXIT

"$here/../../scripts/demo.sh" --inside "$1" >"$output" 2>&1 || { cat "$output"; exit 1; }
mapfile -t printed <"$2"
if ! has_lines "$output" "${printed[@]}"; then
    cat "$output"
    echo 'has no such lines as:'
    cat "$2"
    exit 1
fi
