# SPDX-License-Identifier: Apache-2.0
# fish completion for vellumo. The words come from the completion for bash, which is installed with it, so
# that all shells have one table.
set -g __vellumo_table (dirname (status filename))/../../bash-completion/completions/vellumo

function __vellumo_candidates
    set -l words (commandline -opc)
    bash -c 'source "$0" && _vellumo_candidates "$@"' $__vellumo_table $words[2..-1] 2>/dev/null
end

# Share paths are no local paths, so local files are offered only for the output.
function __vellumo_wants_file
    set -l words (commandline -opc)
    contains -- $words[-1] -o --output --report
end

complete -c vellumo -f -n 'not __vellumo_wants_file' -a '(__vellumo_candidates)'
complete -c vellumo -F -n __vellumo_wants_file
