# Completion of quorvel-cli for bash, for the package bash-completion, which looks for it in
# ~/.local/share/bash-completion/completions/quorvel-cli.
# shellcheck shell=bash

_quorvel_cli() {
    # Set by the next line, which the package bash-completion provides.
    # shellcheck disable=SC2034
    local cur prev words cword split
    _init_completion -s || return

    local command=search
    if ((cword > 1)) && [[ ${words[1]} == @(search|fingerprint|merge|apply|undo) ]]; then
        command=${words[1]}
    fi

    case $prev in
    -b | --against | --move-to)
        _filedir -d
        return
        ;;
    -o | --output | --store | --journal | --into)
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
    --keep)
        local done=
        [[ $cur == *,* ]] && done=${cur%,*},
        mapfile -t COMPREPLY < <(compgen -P "$done" \
            -W 'complete lossless sample-rate bit-rate size oldest under=' -- "${cur##*,}")
        compopt -o nospace
        return
        ;;
    -t | --threshold | --min-duration | --max-duration | --min-length | --exclude | -j | --jobs | --min-similarity | --shard)
        return
        ;;
    esac
    $split && return

    local options
    case $command in
    search)
        options='--against= --threshold= --min-duration= --max-duration= --ext= --exclude= --jobs=
            --format= --output= --pairs --keep= --parts --min-length= --store= --forget
            --trust-store --quiet --verbose --help --version'
        ;;
    fingerprint)
        options='--store= --shard= --ext= --exclude= --jobs= --quiet --verbose --help'
        ;;
    merge)
        options='--into= --quiet --verbose --help'
        ;;
    apply)
        options='--move-to= --yes --min-similarity= --even-short --even-featureless --even-partial
            --journal= --quiet --verbose --help'
        ;;
    undo)
        options='--quiet --verbose --help'
        ;;
    esac
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
        return
    fi
    if [[ $command != @(search|fingerprint) ]]; then
        _filedir
        return
    fi
    _filedir -d
    if ((cword == 1)); then
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W 'search fingerprint merge apply undo' \
            -- "$cur")
    fi
} && complete -F _quorvel_cli quorvel-cli
