#!/bin/bash
# program.sh PROGRAM [FILE.expected]: runs a program of a document in a folder of its own. It must end with 0 and, where the
# document says what it prints, print that.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/normalised.sh"
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
export HOME=$work
output=$work/output

(cd "$work" && "$1") >"$output" 2>&1
result=$?
cat "$output"
if [ "$result" -ne 0 ]; then
    echo "it ended with $result"
    exit 1
fi
if [ $# -gt 1 ]; then
    mapfile -t expected <"$2"
    if ! same_lines "$output" "${expected[@]}"; then
        echo 'but the document says:'
        cat "$2"
        exit 1
    fi
fi
