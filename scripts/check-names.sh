#!/bin/bash
# Comments and documents name the tests that pin what they say. Fails if one of these names is no test's, and if a row of the
# quirks leaves out who relies on it or its test.
set -euo pipefail
cd "$(dirname "$0")/.."

tests=$(git grep -hzoE 'TEST(_F|_P)?\(\s*[A-Za-z0-9]+,\s*[A-Za-z0-9]+\)' -- tests | tr '\0' '\n' | tr -d '\n' |
    grep -oE '\([^)]*\)' | tr -d '() ' | tr ',' '.' | sort -u)
named=$({ git grep -hoE 'Tests?: [A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+' -- src include | sed -E 's/^Tests?: //'
    git grep -hoE '`[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+`' -- docs | tr -d '`'; } | sort -u)
missing=$(comm -13 <(echo "$tests") <(echo "$named") | grep -vE '\.(md|h|cpp)$' || true)
if [ -n "$missing" ]; then
    printf 'no such test: %s\n' $missing
    exit 1
fi

incomplete=$(awk -F ' *[|] *' '/^[|]/ && !/^[|](---| what looks wrong )/ &&
    (NF != 5 || $2 == "" || $3 == "" || $4 !~ /`[A-Z][A-Za-z0-9]*\.[A-Z][A-Za-z0-9]*`/) { print FILENAME ":" FNR ": " $0 }' docs/quirks.md)
if [ -n "$incomplete" ]; then
    printf 'a quirk without who relies on it or without its test: %s\n' "$incomplete"
    exit 1
fi
