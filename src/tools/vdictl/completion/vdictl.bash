# Completion of vdictl for bash.

# What may come after the words so far.
_vdictl_options() {
    case "$1" in
        status) echo --client --user --json --help ;;
        watch) echo --client --user --json --log --waiters --help ;;
        doctor) echo --client --user --json --fix --yes --ignore --help ;;
        'event set' | 'event reset') echo --client --user --help ;;
        'event wait') echo --client --user --timeout --help ;;
        'event show') echo --client --user --json --help ;;
        lock) echo --client --user --timeout --help ;;
        name) echo --client --user --kind --json --help ;;
        terminate) echo --timeout --help ;;
        wait-exit) echo --timeout --json --help ;;
        paths) echo --app --company --json --help ;;
        launch) echo --help ;;
        *) echo --json --help ;;
    esac
}

_vdictl() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]:-} offered=
    COMPREPLY=()
    case "$before" in
        -c | --client) offered='parlet crews huddles unknown' ;;
        -u | --user)
            mapfile -t COMPREPLY < <(compgen -u -- "$word")
            return
            ;;
        -k | --kind) offered='storage mutex event guard' ;;
        --ignore)
            offered="damaged-lock dead-active-agent dead-lock-owner dead-runner doubtful-pid folder-full folder-private"
            offered+=" hidden-runner leftover-waiter ownerless-lock removed-in-use reused-pid waiter-count wrong-mode wrong-owner wrong-size"
            ;;
        -t | --timeout | --app | --company) return ;;
        *)
            if ((COMP_CWORD == 1)); then
                offered='event lock name running launch terminate wait-exit message check jid paths status watch doctor'
                [[ $word != -* ]] || offered='--help --version'
            elif [[ $command == event || $command == message || $command == jid ]] && ((COMP_CWORD == 2)); then
                case "$command" in
                    event) offered='set reset wait show' ;;
                    message) offered='build parse' ;;
                    *) offered='escape unescape' ;;
                esac
            elif [[ $word == -* ]]; then
                case "$command" in
                    event | message | jid) command+=" ${COMP_WORDS[2]}" ;;
                esac
                offered=$(_vdictl_options "$command")
            elif [[ $command == check ]] && ((COMP_CWORD == 2)); then
                offered='jid sip uuid meeting'
            elif [[ $command == wait-exit || $command == running ]]; then
                offered=$(cd /proc && echo [0-9]*)
            elif [[ $command == lock && -n $word ]]; then
                mapfile -t COMPREPLY < <(compgen -c -f -- "$word")
                return
            elif [[ $command == launch || $command == lock ]]; then
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
                return
            fi
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$word")
}

complete -F _vdictl vdictl
