# Completion of vdi-agent for bash.

_vdi_agent() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case "$before" in
        -c | --client) mapfile -t COMPREPLY < <(compgen -W 'parlet crews huddles unknown' -- "$word") ;;
        -l | --log-level) mapfile -t COMPREPLY < <(compgen -W 'error warn info debug trace' -- "$word") ;;
        -t | --trace-dir) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        --client-version) ;;
        *)
            mapfile -t COMPREPLY < <(compgen -W \
                '--client --client-version --trace-dir --log-level --show --help --version' -- "$word")
            ;;
    esac
}

complete -F _vdi_agent vdi-agent
