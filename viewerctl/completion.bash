# Completes the command line of velmora-viewerctl in bash: it offers what --help tells.

_velmora_viewerctl() {
    local cur prev words cword
    _init_completion -n : || return

    local command= word
    for word in "${words[@]:1:cword-1}"; do
        if [[ $word != -* ]]; then
            command=$word
            break
        fi
    done
    local help
    help=$(LC_ALL=C "$1" $command --help 2>/dev/null)
    local options
    options=$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , '\n')
    local of_option=
    [[ $prev == -* ]] && of_option=$(sed -n "s/^  \([^ ]*,\)\?$prev\(,[^ ]*\)\? \([A-Z]*\) .*/\3/p" <<<"$help")

    if [[ $of_option == FILE ]]; then
        _filedir
    elif [[ -n $of_option ]]; then
        COMPREPLY=()  # a number, which nobody else knows
    elif [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    elif [[ -z $command ]]; then
        local commands
        commands=$(sed -n '/^Commands:/,$s/^  \([a-z]\+\) .*/\1/p' <<<"$help")
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
    else
        _known_hosts_real -- "$cur"
    fi
} &&
    complete -F _velmora_viewerctl velmora-viewerctl
