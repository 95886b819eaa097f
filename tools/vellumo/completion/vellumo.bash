# SPDX-License-Identifier: Apache-2.0
# bash completion for vellumo: commands, options, the names of registered
# containers and the ids of queued tasks.
# shellcheck shell=bash

# Prints the words that may come next after the words given as arguments.
_vellumo_candidates() {
    local word command='' action='' previous=''
    for word in "$@"; do
        case $command:$word in
            :pdf | :thumbnail | :cache | :path | :check | :pool | :queue | :record) command=$word ;;
            cache:list | cache:size | cache:clean | cache:remove | cache:collect | cache:sweep) action=$word ;;
            pool:list | pool:add | pool:remove | pool:reset) action=$word ;;
            pool:up | pool:down) action=$word ;;
            pool:status | pool:doctor) action=$word ;;
            queue:list | queue:add | queue:next | queue:done | queue:has) action=$word ;;
            record:create | record:show | record:update | record:delete) action=$word ;;
        esac
        previous=$word
    done
    case $previous in
        --user) compgen -u && return ;;
        --progress) printf '%s\n' auto plain none && return ;;
        --pages | -o | --output | --address | --jobs) return ;;
        --exclude | --newer | --time-limit | --report) return ;;
        --engine) printf '%s\n' docker embedded && return ;;
        --size | --image | --engine-scratch) return ;;
        --op | --type | --limit | --source | --converted | --uid | --code) return ;;
    esac
    case $command:$action in
        :) printf '%s\n' pdf thumbnail cache path check pool queue record --help --version --json ;;
        pdf:)
            printf '%s\n' --user --pages --output --recursive --jobs --exclude --newer --report \
                --time-limit --dry-run --refresh --force --quiet --progress --no-cache --json \
                --help
            ;;
        thumbnail:)
            printf '%s\n' --user --output --recursive --jobs --exclude --newer --report \
                --time-limit --dry-run --refresh --force --quiet --progress --json --help
            ;;
        cache:) printf '%s\n' list size clean remove collect sweep --json --help ;;
        cache:list) printf '%s\n' --user --json --help ;;
        cache:size) printf '%s\n' --json --help ;;
        cache:clean) printf '%s\n' --user --recursive --json --help ;;
        cache:remove) printf '%s\n' --user --pdf --thumbnail --json --help ;;
        cache:collect) printf '%s\n' --limit --json --help ;;
        cache:sweep) printf '%s\n' --dry-run --age --json --help ;;
        path:) printf '%s\n' --user --json --help ;;
        check:) printf '%s\n' --user --address --json --help ;;
        pool:) printf '%s\n' list add remove reset up down status doctor --json --help ;;
        pool:list | pool:status | pool:doctor) printf '%s\n' --json --help ;;
        pool:up) printf '%s\n' --size --engine --image --engine-scratch --rebuild --json --help ;;
        pool:down) printf '%s\n' --force --json --help ;;
        pool:add) printf '%s\n' --json --help ;;
        pool:remove)
            printf '%s\n' --force --json --help
            vellumo pool list --json 2>/dev/null | sed -n 's/^ *"name" : "\(.*\)",$/\1/p'
            ;;
        pool:reset) printf '%s\n' --yes --json --help ;;
        queue:) printf '%s\n' list add next 'done' has --json --help ;;
        queue:list) printf '%s\n' --limit --json --help ;;
        queue:add) printf '%s\n' --folder --op --type --user --json --help ;;
        queue:next) printf '%s\n' --json --help ;;
        queue:done)
            printf '%s\n' --json --help
            vellumo queue list --json 2>/dev/null | sed -n 's/^ *"id" : "\(.*\)",$/\1/p'
            ;;
        queue:has) printf '%s\n' --user --json --help ;;
        record:) printf '%s\n' create show update delete --json --help ;;
        record:create | record:update)
            printf '%s\n' --source --converted --uid --code --user --json --help
            ;;
        record:show | record:delete) printf '%s\n' --json --help ;;
    esac
}

_vellumo() {
    local current=${COMP_WORDS[COMP_CWORD]} candidates
    candidates=$(_vellumo_candidates "${COMP_WORDS[@]:1:COMP_CWORD-1}")
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    # Share paths are no local paths, so local files are offered only for the output.
    case ${COMP_WORDS[COMP_CWORD-1]} in
        -o | --output | --report) compopt -o default ;;
    esac
}

complete -F _vellumo vellumo
