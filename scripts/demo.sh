#!/bin/bash
# Installs what is missing, builds, and shows agents at work: three of one client product and one of another register, agree
# who is active, and take over from one that is killed. They run with a /dev/shm of their own where the system allows it, so
# that agents that really run on this machine are not disturbed.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" != --inside ]; then
    scripts/setup.sh run
    build=build/demo
    log=$(mktemp)
    if ! { cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DVDI_BUILD_TESTS=OFF &&
        cmake --build $build --target vdi-agent private-shm; } >"$log" 2>&1; then
        cat "$log"
        exit 1
    fi
    rm -f "$log"
    if $build/src/tools/private-shm/private-shm true 2>/dev/null; then
        exec $build/src/tools/private-shm/private-shm scripts/demo.sh --inside $build/src/tools/agent/vdi-agent
    fi
    echo "(no private /dev/shm can be had here: the agents use the real one)"
    exec scripts/demo.sh --inside $build/src/tools/agent/vdi-agent
fi

agent=$2
work=$(mktemp -d)
pids=()
cleanup() {
    if [ ${#pids[@]} -gt 0 ]; then
        kill "${pids[@]}" 2>/dev/null || true
        wait 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

say() { printf '\n== %s\n' "$*"; }
show() { "$agent" --client huddles --show; "$agent" --client crews --show; }

# start NAME PRODUCT: an agent in the background; what it says goes to a file of its name and to the screen.
start() {
    "$agent" --client "$2" --trace-dir "$work/logs" </dev/null >"$work/$1" 2>&1 &
    pids+=($!)
    printf -v "$1" %s $!
    tail -q -n +1 -f --pid=$! "$work/$1" 2>/dev/null | grep --line-buffered '^vdi-agent' &
}

# until_says NAME TEXT: waits for a line of that agent.
until_says() {
    for _ in $(seq 300); do
        if grep -q -- "$2" "$work/$1"; then
            return 0
        fi
        sleep 0.1
    done
    echo "agent $1 did not say '$2' within 30 seconds" >&2
    exit 1
}

say 'before: the shared lists'
show

say 'three agents of one product, one of another'
start first huddles
until_says first ': active'
start second huddles
until_says second 'standing by'
start third huddles
until_says third 'standing by'
start other crews
until_says other ': active'
show

say "the active agent, $first, is killed"
kill -KILL "$first"
{ wait "$first"; } 2>/dev/null || true
for _ in $(seq 300); do
    if grep -q ': active$' "$work/second" "$work/third"; then
        break
    fi
    sleep 0.1
done
heir=third
loser=second
if grep -q ': active$' "$work/second"; then
    heir=second
    loser=third
fi
until_says "$heir" ': active'
until_says "$loser" "active is ${!heir}"
show

say "the new active agent, ${!heir}, leaves; the last one takes over"
kill -TERM "${!heir}"
until_says "$heir" ': left'
until_says "$loser" ': active'

say 'the end: every agent leaves; the killed one stays listed, for nobody spoke for it'
kill -TERM "${!loser}" "$other"
until_says "$loser" ': left'
until_says other ': left'
wait "${!heir}" "${!loser}" "$other"
pids=()
show
