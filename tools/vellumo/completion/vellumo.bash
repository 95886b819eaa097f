# SPDX-License-Identifier: Apache-2.0
# bash completion for vellumo: commands, options, the names of registered
# containers and the ids of queued tasks.
# shellcheck shell=bash

# Prints the words that may come next after the words given as arguments.
_vellumo_candidates() {
    local word command='' action='' previous=''
    for word in "$@"; do
        case $command:$word in
            :pdf | :thumbnail | :why | :failures | :cache | :path | :check | :pool) command=$word ;;
            :status | :doctor | :index | :link | :queue | :record | :settings) command=$word ;;
            failures:forget | index:show | index:on | index:off) action=$word ;;
            cache:list | cache:size | cache:clean | cache:remove | cache:collect | cache:sweep) action=$word ;;
            pool:list | pool:add | pool:remove | pool:reset) action=$word ;;
            pool:up | pool:down) action=$word ;;
            pool:status | pool:doctor) action=$word ;;
            queue:list | queue:add | queue:next | queue:done | queue:has) action=$word ;;
            link:list | link:add | link:show | link:remove) action=$word ;;
            settings:list | settings:get | settings:set | settings:unset) action=$word ;;
            record:create | record:show | record:update | record:delete) action=$word ;;
        esac
        previous=$word
    done
    case $previous in
        --user) compgen -u && return ;;
        --progress) printf '%s\n' auto plain none && return ;;
        --pages | -o | --output | --address | --jobs | --below) return ;;
        --exclude | --newer | --time-limit | --report) return ;;
        --engine) printf '%s\n' docker embedded && return ;;
        --size | --image | --engine-scratch) return ;;
        --label | --expires | --max-views) return ;;
        --op) printf '%s\n' convert now remove reindex && return ;;
        --type) printf '%s\n' both pdf thumbnail && return ;;
        --limit | --source | --converted | --uid | --code) return ;;
    esac
    case $command:$action in
        :)
            printf '%s\n' pdf thumbnail why failures cache path check pool status doctor index link queue record \
                settings --help --version --json
            ;;
        pdf:)
            printf '%s\n' --user --pages --output --recursive --jobs --exclude --newer --report \
                --time-limit --dry-run --refresh --force --quiet --progress --no-cache --json \
                --help
            ;;
        thumbnail:)
            printf '%s\n' --user --output --recursive --jobs --exclude --newer --report \
                --time-limit --dry-run --refresh --force --quiet --progress --json --help
            ;;
        why:) printf '%s\n' --user --json --help ;;
        failures:) printf '%s\n' forget --below --limit --user --json --help ;;
        failures:forget) printf '%s\n' --all --user --json --help ;;
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
        status:) printf '%s\n' --metrics --health --json --help ;;
        doctor:) printf '%s\n' --json --help ;;
        index:) printf '%s\n' show on off --json --help ;;
        index:*) printf '%s\n' --json --help ;;
        link:) printf '%s\n' list add show remove --json --help ;;
        link:list) printf '%s\n' --user --json --help ;;
        link:add)
            printf '%s\n' --user --label --expires --max-views --password-stdin --no-download \
                --json --help
            ;;
        link:show | link:remove)
            printf '%s\n' --json --help
            vellumo link list --json 2>/dev/null | sed -n 's/^ *"id" : \([0-9]*\),$/\1/p'
            ;;
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
        settings:) printf '%s\n' list get 'set' 'unset' --json --help ;;
        settings:list) printf '%s\n' --json --help ;;
        settings:get | settings:set | settings:unset)
            printf '%s\n' --json --help
            vellumo settings --json 2>/dev/null | sed -n 's/^ *"name" : "\(.*\)",$/\1/p'
            ;;
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
