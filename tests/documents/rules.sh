#!/bin/bash
# rules.sh AWK PAGE.md…: whether each code block of the pages is one of those that are compiled and run, and each link leads
# to a file.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
out=$(mktemp -d) || exit 1
trap 'rm -rf "$out"' EXIT
awk=$1
shift
failed=0
for page in "$@"; do
    "$awk" -v page=page -v out="$out" -f "$here/blocks.awk" "${page#"$PWD/"}" >/dev/null || failed=1
    while IFS= read -r link; do
        if [ ! -e "$(dirname "$page")/$link" ]; then
            echo "$page: nothing at $link"
            failed=1
        fi
    done < <(grep -oE '\]\([A-Za-z0-9_-]*[./][A-Za-z0-9_./-]*[)#]' "$page" | tr -d '](#)')
done
exit $failed
