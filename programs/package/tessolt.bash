# bash completion for tessolt

_tessolt() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="send fetch show extract convert check error settings" command="" word options="--help"
    local server="--server --user --password-file --security --timeout --log"
    case $previous in
        --attach | --inline | --eml | --password-file | --log)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --into)
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return
            ;;
        --security)
            mapfile -t COMPREPLY < <(compgen -W "usual tls starttls none" -- "$current")
            return
            ;;
        --server | --user | --timeout | --from | --to | --cc | --bcc | --reply-to | --subject | --text | --html | --header)
            return
            ;;
    esac
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " $commands " == *" $word "* ]] && command=$word && break
    done
    case $command in
        "") options="$commands --help --version" ;;
        send)
            options+=" $server --from --to --cc --bcc --reply-to --subject --text --html --attach --inline --header"
            options+=" --eml --queue --json"
            ;;
        fetch) options+=" $server --maildir --new --delete --json" ;;
        show) options+=" --all-headers --json" ;;
        extract) options+=" --into --replace --json" ;;
        convert) options+=" --from --to" ;;
        check) options+=" $server --pop3 --json" ;;
        error) options+=" --json" ;;
        settings) options+=" init --replace --json" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    if [[ $command =~ ^(fetch|show|extract|convert|settings)$ && $current != -* ]]; then
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current")
    fi
}
complete -o filenames -F _tessolt tessolt
