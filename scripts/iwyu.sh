#!/bin/bash
# Fails where a file of src/ or include/ uses what it only happens to include: what neither it nor a header of the project that it
# includes asks for. Such names come with one standard library and not with the next.
#
#   scripts/iwyu.sh [FILE…]     all files, or those that are named, with the headers that they include
#
# Which includes nobody needs is not told. The program does not know what another compiler's library or another system needs,
# and calls headers needless that others of the same folder stand for.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/iwyu

cmake --preset tidy -B $build -DCMAKE_UNITY_BUILD=OFF -DVDI_WARNINGS_AS_ERRORS=OFF
options=(--mapping_file="$PWD/scripts/iwyu.imp" --max_line_length=10000 --check_also="$PWD/src/*" --check_also="$PWD/include/*")
for option in "${options[@]}"; do
    arguments+=(-Xiwyu "$option")
done
iwyu_tool -p $build -j "$(nproc)" -o clang "$@" -- -w "${arguments[@]}" >$build/advice.txt 2>&1

# Names that say nothing: what calls of other names are made of.
noise='^(operator.*|_.*|.*<>::.*|allocator.*|basic_string(_view)?|char_traits|strong_ordering|less|pair|ratio|begin|end|add_const'
noise+='|remove_reference|fill_n|VDIFrameworkCommon)$'

{
    git ls-files -co --exclude-standard -- 'include/*.h' 'src/*.h' | sed 's/^/header /'
    sed -nE "s|^ *\"file\": \"$PWD/(.*)\",?\$|\\1|p" $build/compile_commands.json | sort -u |
        grep -xE -e "$(IFS='|' && echo "${*:-.*}")" | sed 's/^/compiled /'
    git grep --untracked -nE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]' -- src include |
        sed -E 's/^([^:]+):[0-9]+:[^<"]*[<"]([^>"]+)[>"].*/include \1 \2/'
    sed "s|^$PWD/|advice |" $build/advice.txt | sort -u
} | awk -v noise="$noise" '
    # The header of the project that a file means by a name, or else the name.
    function meant(file, name) {
        sub(/[^\/]*$/, "", file)
        if ((file name) in is_header) return file name
        return name in by_name ? by_name[name] : name
    }
    # Whether the file, or a header of the project that it includes, includes this.
    function asks(file, name,    count, i, list) {
        if ((file, name) in includes) return 1
        count = split(included[file], list, " ")
        for (i = 1; i <= count; ++i) if ((list[i], name) in includes) return 1
        return 0
    }
    # <signal.h> may be <csignal>, and any header of a foreign library brings the rest of it.
    function has(file, name,    other, folder) {
        folder = name
        if (sub(/\/.*/, "", folder) && folder ~ /^(CLI|fmt|gio|nlohmann|spdlog)$/ && asks(file, folder "/")) return 1
        other = name
        if (sub(/\.h$/, "", other) && asks(file, "c" other)) return 1
        return asks(file, meant(file, name)) || (name == "syscall.h" && asks(file, "sys/syscall.h"))
    }
    $1 == "header" {
        is_header[$2]
        for (name = $2; sub(/^[^\/]*\//, "", name);) if (!(name in by_name)) by_name[name] = $2
        next
    }
    $1 == "compiled" { waiting[$2]; next }
    $1 == "include" {
        name = meant($2, $3)
        includes[$2, name]
        included[$2] = included[$2] " " name
        if (sub(/\/.*/, "/", name)) includes[$2, name]
        next
    }
    $1 != "advice" { print; failed = 1; next }
    {
        file = $2
        sub(/:.*/, "", file)
        delete waiting[file]
    }
    /: error: add .#include / {
        name = $0
        sub(/.*: error: add .#include ./, "", name)
        sub(/[>"].*/, "", name)
        used = $0
        sub(/.*\(for /, "", used)
        sub(/\)$/, "", used)
        count = split(used, words, ", ")
        left = ""
        for (i = 1; i <= count; ++i) if (words[i] !~ noise) left = left (left == "" ? "" : ", ") words[i]
        if (left != "" && !has(file, name)) { print file ": does not include " name ", for " left; failed = 1 }
    }
    END {
        for (file in waiting) { print file ": was not read"; failed = 1 }
        exit failed
    }'
