# bash completion for tessolt-queue

_tessolt_queue() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="run list show retry hold release remove" command="" word options="--folder --help"
    case $previous in
        --folder)
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return
            ;;
        --connections | --per-server | --give-up | --timeout | --relay) return ;;
    esac
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " $commands " == *" $word "* ]] && command=$word
    done
    case $command in
        "") options="$commands --folder --help --version" ;;
        run) options+=" --once --connections --per-server --give-up --timeout --relay --no-bounce" ;;
        list) options+=" --json" ;;
        retry) options+=" --all $(tessolt-queue list 2>/dev/null | sed '1d;s/ .*//')" ;;
        *) options+=" $(tessolt-queue list 2>/dev/null | sed '1d;s/ .*//')" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}
complete -F _tessolt_queue tessolt-queue
