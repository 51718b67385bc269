# zsh -f offered.zsh FOLDER LINES OFFERED
#
# Completes each line of the file LINES in an interactive zsh that has FOLDER's completions, and writes a line to the file
# OFFERED for each: what is offered, separated by blanks.

zmodload zsh/zpty || exit 1
folder=$1 lines=$2 offered=$3
: >$offered

tell() { zpty -w shell "$*"; }

# Nothing of the user's is read, and nothing is asked.
zpty shell "TERM=dumb COLUMNS=200 LINES=50 zsh -f -i"
tell 'PROMPT= RPROMPT=; unsetopt beep; setopt no_list_beep; LISTMAX=0'
tell "fpath=(${(q)folder} \$fpath); autoload -Uz compinit && compinit -D -u"
tell "offered=${(q)offered}; lines=(\${(f)\"\$(<${(q)lines})\"})"

# What completions call to offer something: noted, and then offered. Some calls only ask which of some words fit.
tell 'compadd() {
    local -a fitting
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd "$@"
        return
    fi
    builtin compadd -A fitting "$@"
    noted+=("${fitting[@]}")
    builtin compadd "$@"
}'
tell 'zstyle ":completion:*" verbose no; zstyle ":completion:*" menu no'
tell 'offer() {
    local line
    for line in $lines; do
        local -a noted=()
        BUFFER=$line CURSOR=${#line}
        zle complete-word
        print -r -- "${noted[*]}" >>$offered
    done
    BUFFER=
    print -r -- all are "d"one
}'
tell 'zle -N offer; bindkey "^X^O" offer; print -r -- set "u"p'
zpty -r shell said '*set up*' || exit 1
zpty -w -n shell $'\x18\x0f'
zpty -r shell said '*all are done*' || exit 1
zpty -d shell
