#!/bin/bash
# Runs the commands of a transcript and compares what they print with what it says.
#
#   transcript.sh FILE.console    in a folder of its own, with a /dev/shm of its own and the programs on the PATH
#
# "$ COMMAND" is run and its output compared with the lines behind it; "< COMMAND" is run, and its output shown only if it
# fails. All of them run in one shell, one after the other. What differs from run to run (see `pattern`) may be different.
set -u
cd "$(dirname "$1")"
transcript=$PWD/$(basename "$1")
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/normalised.sh"
exec 4>&2
work=$(mktemp -d) || exit 1
export HOME=$work
cd "$work"

started=()
end() {
    local pid
    for pid in "${started[@]+"${started[@]}"}"; do
        kill -KILL -- "-$pid" 2>/dev/null
    done
    cd /
    rm -rf "$work"
}
trap end EXIT

# start NAME COMMAND…: in the background; its process id is in $NAME, and what it says in the file NAME.
start() {
    local name=$1
    shift
    setsid "$@" </dev/null >"$work/$name" 2>&1 &
    started+=($!)
    disown
    printf -v "$name" %s $!
}

# says NAME TEXT: waits until it says so.
says() {
    for _ in $(seq 600); do
        if grep -q -- "$2" "$work/$1"; then
            return 0
        fi
        sleep 0.1
    done
    echo "$1 did not say \"$2\" but:"
    cat "$work/$1"
    return 1
}

# killed ID: kills the process, and waits until it is dead.
killed() {
    kill -KILL "$1" || return 1
    while kill -0 "$1" 2>/dev/null; do
        sleep 0.05
    done
}

# stands_for NUMBER ID: the transcript's commands say NUMBER where they mean the process ID of this run.
declare -A meant=()
stands_for() { meant[$1]=$2; }

# eventually: the next command looks at processes that are busy, and may be run again until it prints what it has to.
eventual=no
eventually() { eventual=yes; }

# shown NAME: the next command is not run; it is NAME, which runs already.
instead=
shown() {
    instead=$1
    eventual=yes
}

# as_root: for what looks different for another user, whose objects have other names and so another order.
as_root() {
    if [ "$(id -u)" -ne 0 ]; then
        echo 'SKIPPED: this transcript is the one that root gets' >&4
        exit 77
    fi
}

failures=0
commands=0
command=
expected=()

run() {
    local actual=$command number
    for number in "${!meant[@]}"; do
        actual=${actual//$number/${meant[$number]}}
    done
    if [ -n "$instead" ]; then
        cp "$work/$instead" "$work/output"
    else
        eval "$actual" >"$work/output" 2>&1 </dev/null
    fi
    same_lines "$work/output" "${expected[@]+"${expected[@]}"}"
}

# Runs the command whose expected output is known by now.
compare() {
    local tries=1
    if [ -z "$command" ]; then
        return
    fi
    if [ $eventual = yes ]; then
        tries=300
    fi
    until run; do
        tries=$((tries - 1))
        if [ $tries -eq 0 ]; then
            printf '$ %s\nprinted:\n' "$command"
            cat "$work/output"
            printf 'and the document says:\n'
            printf '%s\n' "${expected[@]+"${expected[@]}"}"
            failures=$((failures + 1))
            break
        fi
        sleep 0.1
    done
    eventual=no
    instead=
    command=
    expected=()
}

while IFS= read -r line <&3; do
    case $line in
        '$ '*)
            compare
            command=${line#'$ '}
            commands=$((commands + 1))
            ;;
        '< '*)
            compare
            if ! eval "${line#'< '}" >"$work/output" 2>&1 </dev/null; then
                printf '%s\nfailed:\n' "${line#'< '}"
                cat "$work/output"
                exit 1
            fi
            ;;
        *) expected+=("$line") ;;
    esac
done 3<"$transcript"
compare
if [ "$commands" -eq 0 ]; then
    echo "no command in $transcript"
    exit 1
fi
echo "$commands commands, $failures of which print something else"
[ "$failures" -eq 0 ]
