# SPDX-License-Identifier: Apache-2.0
# bash completion for vellumo: commands, options and the names of registered containers.
# shellcheck shell=bash

# The words of which one may come next, given the words before it.
_vellumo_candidates() {
    local word command='' action='' previous=''
    for word in "$@"; do
        case $command:$word in
            :pdf | :path | :pool) command=$word ;;
            pool:list | pool:add | pool:remove | pool:reset) action=$word ;;
        esac
        previous=$word
    done
    case $previous in
        --user) compgen -u && return ;;
        --progress) printf '%s\n' auto plain none && return ;;
        --pages | -o | --output) return ;;
    esac
    case $command:$action in
        :) printf '%s\n' pdf path pool --help --version --json ;;
        pdf:) printf '%s\n' --user --pages --output --force --quiet --progress --json --help ;;
        path:) printf '%s\n' --user --json --help ;;
        pool:) printf '%s\n' list add remove reset --json --help ;;
        pool:list) printf '%s\n' --json --help ;;
        pool:add) printf '%s\n' --json --help ;;
        pool:remove)
            printf '%s\n' --force --json --help
            vellumo pool list --json 2>/dev/null | sed -n 's/^ *"name" : "\(.*\)",$/\1/p'
            ;;
        pool:reset) printf '%s\n' --yes --json --help ;;
    esac
}

_vellumo() {
    local current=${COMP_WORDS[COMP_CWORD]} candidates
    candidates=$(_vellumo_candidates "${COMP_WORDS[@]:1:COMP_CWORD-1}")
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    # Share paths are not paths of this machine, so its files are offered for the output only.
    case ${COMP_WORDS[COMP_CWORD-1]} in
        -o | --output) compopt -o default ;;
    esac
}

complete -F _vellumo vellumo
