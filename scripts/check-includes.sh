#!/bin/bash
# Fails if a file includes what its folder may not: docs/development.md says which folder may use which.
set -euo pipefail
cd "$(dirname "$0")/.."

# Folder of a file; what of the project it may include, besides its own folder; which system and foreign headers, besides those
# of the standard library. The first line that fits a file holds for it; + stands for all, - for none.
rules='
include/dpllogger/              -                                                          -
include/VDIFrameworkCommon/     include/                                                   ^pthread\.h$
src/Common/platform/linux/      src/Common/platform/[^/]+\.h$|src/Common/src/(ThreadAnnotations|Utf8)\.h$  \.h$
src/Common/platform/darwin/     src/Common/platform/[^/]+\.h$                              \.h$
src/Common/platform/            -                                                          ^pthread\.h$
src/Common/ext/                 include/|src/Common/platform/[^/]+\.h$                     -
src/Common/src/                 include/|src/Common/platform/[^/]+\.h$                     ^[a-z]+\.h$|^sys/
src/dpllogger/                  include/dpllogger/                                         ^[a-z]+\.h$|^sys/|^(spdlog|fmt)/
src/tools/agent/                include/                                                   ^[a-z]+\.h$|^sys/|^CLI/
src/tools/private-shm/          -                                                          ^[a-z]+\.h$|^sys/
src/tools/vdictl/               include/|src/Common/src/(SharedRecords|CityHash64)\.h$     ^[a-z]+\.h$|^(sys|linux)/|^(CLI|fmt|nlohmann)/
bench/                          include/|tests/support/|src/tools/vdictl/|src/Common/src/  +
fuzz/                           src/dpllogger/|src/tools/vdictl/|tests/                    +
tests/                          +                                                          +
'

# Where a name is looked for, after the folder of the file: as the compile commands say, and then everywhere else.
roots='src/Common/src src/Common src/dpllogger src/tools/vdictl src/tools/agent include tests bench'

{
    git ls-files -co --exclude-standard -- '*.h' | sed 's/^/file /'
    awk 'NF { print "rule", $0 }' <<<"$rules"
    git grep --untracked -nE '^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]*[<"]' -- '*.cpp' '*.h' '*.mm' |
        sed -E 's/^([^:]+):([0-9]+):[^<"]*[<"]([^>"]+)[>"].*/include \1 \2 \3/'
} | awk -v roots="$roots" '
    function allows(pattern, name) { return pattern == "+" || (pattern != "-" && match(name, pattern)) }
    # The file of the project that an include means; nothing if it is none.
    function resolve(file, name,    folder, order, count, i) {
        folder = file
        sub(/[^\/]*$/, "", folder)
        if ((folder name) in exists) return folder name
        count = split((file ~ /^src\/dpllogger\// ? "src/dpllogger " : "") roots, order, " ")
        for (i = 1; i <= count; ++i) if ((order[i] "/" name) in exists) return order[i] "/" name
        return ""
    }
    function rule_of(file,    i) {
        for (i = 1; i <= rules; ++i) if (index(file, owner[i]) == 1) return i
        return 0
    }
    $1 == "file" { exists[$2] = 1; next }
    $1 == "rule" { ++rules; owner[rules] = $2; own[rules] = "^(" $3 ")"; foreign[rules] = $4; if ($3 ~ /^[+-]$/) own[rules] = $3; next }
    {
        rule = rule_of($2)
        if (!rule) { print $2 ": in no folder that has a rule"; bad = 1; next }
        target = resolve($2, $4)
        if (target != "") fine = rule_of(target) == rule || allows(own[rule], target)
        else fine = $4 ~ /^[a-z_0-9]+$/ || allows(foreign[rule], $4)
        if (!fine) { print $2 ":" $3 ": may not include " (target != "" ? target : "<" $4 ">"); bad = 1 }
        ++seen
    }
    END {
        if (!seen) { print "no include was found"; exit 1 }
        exit bad
    }'
