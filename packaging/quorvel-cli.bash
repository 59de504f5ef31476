# Completion of quorvel-cli for bash, for the package bash-completion, which looks for it in
# ~/.local/share/bash-completion/completions/quorvel-cli.
# shellcheck shell=bash

_quorvel_cli() {
    # Set by the next line, which the package bash-completion provides.
    # shellcheck disable=SC2034
    local cur prev words cword split
    _init_completion -s || return

    case $prev in
    -b | --against)
        _filedir -d
        return
        ;;
    -o | --output | --store)
        _filedir
        return
        ;;
    -f | --format)
        mapfile -t COMPREPLY < <(compgen -W 'tree json csv' -- "$cur")
        return
        ;;
    --ext)
        mapfile -t COMPREPLY < <(compgen -W '+all +opus +oga +aiff +wv' -- "$cur")
        return
        ;;
    -t | --threshold | --min-duration | --exclude | -j | --jobs)
        return
        ;;
    esac
    $split && return

    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--against= --threshold= --min-duration= --exclude= --ext= --jobs= --format= --output=
            --pairs --store= --forget --quiet --verbose --help --version' -- "$cur")
        [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
        return
    fi
    _filedir -d
} && complete -F _quorvel_cli quorvel-cli
