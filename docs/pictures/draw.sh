#!/bin/bash
# Draws the pictures of the documents anew (scripts/setup.sh docs installs what that needs), or with --check tells whether they
# are what their sources say. Graphviz places things by the fonts that it finds, so places may differ; the graph may not.
set -euo pipefail
cd "$(dirname "$0")"

# graph FILE.svg: what it shows, without places and sizes.
graph() { grep -oE '<title>[^<]*|<text[^>]*>[^<]*|class="(node|edge)"' "$1" | sed -E 's/^<text[^>]*>/text: /' | sort; }

digest() { sha256sum <"$1" | cut -d ' ' -f 1; }

draw_graph() {
    dot -Tsvg "$1" | sed -E '/^<!--.*-->$/d; /^<!--/,/-->$/d'
    echo "<!-- of $1, $(digest "$1") -->"
}

if [ "${1:-}" != --check ]; then
    for source in *.dot; do
        draw_graph "$source" >"${source%.dot}.svg"
    done
    awk -f records.awk records.txt >records.svg
    exit
fi

drawn=$(mktemp)
trap 'rm -f "$drawn"' EXIT
failed=0
stale() {
    echo "$1 is not what its source says: run docs/pictures/draw.sh"
    failed=1
}

for source in *.dot; do
    picture=${source%.dot}.svg
    if ! grep -q "of $source, $(digest "$source")" "$picture"; then
        stale "$picture"
    elif command -v dot >/dev/null; then
        draw_graph "$source" >"$drawn"
        cmp -s <(graph "$drawn") <(graph "$picture") || stale "$picture"
    fi
done
awk -f records.awk records.txt >"$drawn"
cmp -s "$drawn" records.svg || stale records.svg
exit $failed
