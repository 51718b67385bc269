#!/bin/bash
# commands.sh FILE.sh…: whether the commands that documents tell people to type are there: scripts of this repository, presets,
# benchmarks. Continuous integration runs the scripts; what takes long is not run here again.
set -u
sources=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
failed=0

complain() {
    echo "$1"
    failed=1
}

for file in "$@"; do
    while IFS= read -r line; do
        read -ra words <<<"${line%%  #*}"
        case ${words[0]:-} in
            '' | '#'*) continue ;;
            scripts/*) [ -x "$sources/${words[0]}" ] || complain "no such script: $line" ;;
            build/release/bench/*) [ -f "$sources/bench/${words[0]##*/}.cpp" ] || complain "no such benchmark: $line" ;;
            cmake | ctest)
                for ((i = 1; i < ${#words[@]}; ++i)); do
                    if [ "${words[i - 1]}" = --preset ] &&
                        ! grep -q "\"name\": \"${words[i]}\"" "$sources/CMakePresets.json"; then
                        complain "no such preset: $line"
                    fi
                done
                ;;
            *) complain "no rule for this command: $line" ;;
        esac
    done < <(sed -e ':a' -e '/\\$/N; s/\\\n//; ta' "$file")
done
exit $failed
