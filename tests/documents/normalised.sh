# For scripts to include: compares output with lines of a document, apart from what differs from run to run.

# pattern LINE: a regular expression for what may stand in its place: other process ids, digests and counts of 1000 and more,
# times of day, ages, widths of columns, and another user than 0.
pattern() {
    sed -E \
        -e 's/[][\.*^$+?(){}|]/\\&/g' \
        -e 's/[0-9]{4}-[0-9]{2}-[0-9]{2}([T ])[0-9]{2}:[0-9]{2}:[0-9]{2}(\\\.[0-9]+)?(Z|\\\+[0-9]{2}:[0-9]{2})?/@TIME@/g' \
        -e 's/(^|[^0-9A-Za-z.])[1-9][0-9]{3,}/\1@NUMBER@/g' \
        -e 's/(user|owner) ( *)0/\1 \2@NUMBER@/g' \
        -e 's/  0  0600  [0-9]+ s /  @NUMBER@  0600  @NUMBER@ s /' \
        -e 's/(^|[ /"])0(_[A-Z]|[A-Z]+_)/\1@NUMBER@\2/g' \
        -e 's/ +/ +/g' \
        -e 's/@TIME@/[0-9]+-[0-9]+-[0-9]+[T ][0-9:.]+(Z|[-+][0-9:]+)?/g' \
        -e 's/@NUMBER@/[0-9]+/g' \
        -e 's/^/^/; s/$/ *$/' <<<"$1"
}

# same_lines FILE LINE…: whether the file has these lines and no others.
same_lines() {
    local file=$1 actual line expression
    shift
    mapfile -t actual <"$file"
    if [ ${#actual[@]} -ne $# ]; then
        return 1
    fi
    for line in "${actual[@]+"${actual[@]}"}"; do
        expression=$(pattern "$1")
        if [[ ! $line =~ $expression ]]; then
            return 1
        fi
        shift
    done
}

# has_lines FILE LINE…: whether the file has each of these lines somewhere.
has_lines() {
    local file=$1 line
    shift
    for line in "$@"; do
        if ! grep -qE "$(pattern "$line")" "$file"; then
            echo "missing: $line"
            return 1
        fi
    done
}
