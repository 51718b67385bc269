#!/bin/bash
# Fails if a file under tests/, bench/ or fuzz/ is part of nothing: no target compiles it, no file that is compiled includes it, no
# build file names it. The argument is a build folder that is configured.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1

files=$(git ls-files -co --exclude-standard -- tests bench fuzz | grep -v '/CMakeLists\.txt$')
compiled=$(grep -oE '"file": "[^"]+"' "$build/compile_commands.json" | sed -E "s|^\"file\": \"$PWD/||; s|\"$||")
included=$(git grep --untracked -hoE '^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]*[<"][^>"]+' -- '*.cpp' '*.h' '*.mm' |
    sed -E 's/.*[<"]//' | sort -u)
built=$(find . -path ./build -prune -o \( -name CMakeLists.txt -o -name '*.cmake' \) -print0 | xargs -0 cat scripts/*.sh tests/*/*.sh)

lost=0
while read -r file; do
    case $file in
        # The headers of the Objective-C library include these.
        tests/darwin/*/objc/*.h) found=1 ;;
        # A project of its own.
        tests/packaging/consumer/*) found=$(grep -oF -m 1 -- "${file##*/}" tests/packaging/consumer/CMakeLists.txt || true) ;;
        *.h)
            # By any of the ways in which its path may end.
            name=$file
            found=
            while [ -z "$found" ]; do
                if grep -qxF -- "$name" <<<"$included"; then
                    found=1
                elif [[ $name == */* ]]; then
                    name=${name#*/}
                else
                    break
                fi
            done
            ;;
        *.py) found=$(grep -oE -m 1 "(^import $(basename "$file" .py)|${file//./\\.})" bench/report/main.py scripts/*.sh || true) ;;
        bench/* | fuzz/*) found=$(grep -oF -m 1 -- "${file##*/}" <<<"$built" || true) ;;
        *.cpp | *.mm) found=$(grep -xF -m 1 -- "$file" <<<"$compiled" || true) ;;
        *) found=$(grep -oF -m 1 -- "${file##*/}" <<<"$built" || true) ;;
    esac
    if [ -z "$found" ]; then
        echo "part of no build: $file"
        lost=1
    fi
done <<<"$files"
exit $lost
