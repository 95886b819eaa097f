// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_OFFICESCRIPT_H
#define VELLUMO_TESTS_DEPLOY_OFFICESCRIPT_H

namespace vellumo::test {

// Functions for scripts in a place where an office can be kept warm.
//
//   document KIND NAME …    makes a source, which belongs to another user where that is possible
//   office NAME, unoconv PRODUCT … SOURCE      run the office's commands as the core does
//   cut_page PRODUCT NAME   cuts the first page out with pdftk
//   order NAME COMMANDS     makes the document NAME.pdf. `cut_page` runs these commands where
//                           $folder/obedient stands in pdftk's place
//   cold COMMAND…           runs one of these commands without the warm office
//   pages NAME              prints the number of pages of a product
//   keeper_process, spare_process, child_process     wait for that process of the warm office
//                           (the one that is forked, a fork that waits, one that converts) and
//                           print its id
//   gone PROCESS            true if the process has ended
//   works NAME              true if an office has that document open
//   is_warm                 true if a warm office converts a document
//   warm                    waits until that is so; fails when the time limit is reached
//   next_is_good            converts a document; prints a message if that fails or takes over 2 s
//                           (more on a busy machine), if no warm office converts the document after
//                           it, or if any process or file is left
//
// The place must provide $make, $source, $target, $S and $T, and
//   tool COMMAND…           runs a command as the core does; $limit is its time limit, if set
//   cold COMMAND…           see above
//   processes PROGRAM       prints the ids of the place's processes that run the program
//   left                    prints the processes and files that are left
constexpr const char* kOfficeScript = R"sh(
now() { date +%s%3N; }
hide() { chown 12345 "$1" 2>/dev/null; chmod 600 "$1"; }
document() { local kind=$1 name=$2; shift 2; $make $kind $S/$name "$@"; hide $S/$name; }
cut_page() { tool pdftk A=$source/$2 cat A1-1 output $target/$1; }
printf '#!/bin/sh\ntail -n +2 "${1#A=}" >"$HOME/orders"\n. "$HOME/orders"\n' >$folder/obedient
chmod 755 $folder/obedient
order() { printf '%%PDF-\n%s\n' "$2" >$S/$1.pdf; hide $S/$1.pdf; }
office() { tool soffice --headless --convert-to pdf --outdir $target/ $source/$1; }
unoconv() { tool unoconv -o $target/$1 --format=pdf "${@:2}"; }
pages() { pdfinfo $T/$1 | sed -n 's/^Pages: *//p'; }
one() {
    local i
    for i in {1..100}; do processes $1 | grep -m1 . && return; sleep 0.1; done
    echo "no $1" >&2; return 1
}
child_process() { one office-child; }
spare_process() { one office-spare; }
keeper_process() { one vellumo-office; }
gone() { ! kill -0 $1 2>/dev/null; }
works() {
    local each
    for each in $(processes soffice.bin) $(processes office-child); do ls -l /proc/$each/fd; done 2>/dev/null | grep -q "/$1$"
}
is_warm() {
    # A cold office prints what it does.
    $make text $S/warm.fodt warm
    local said; said=$(office warm.fodt 2>&1); local -r status=$?
    rm -f $S/warm.fodt $T/warm.pdf
    [ $status = 0 ] && [ -z "$said" ]
}
warm() { for i in {1..40}; do is_warm && return; sleep 0.5; done; echo 'no warm office'; exit 98; }
# A machine that is busy with something else is told from a place that has not recovered by what a
# cold conversion takes right then: it is in no way slower for what was provoked, unless something of
# that still runs, which `left` finds. A second more, for which the keeper pauses between the starts
# of offices that do not come up.
recovery_limit() {
    local i began took slowest=0
    for i in 1 2 3; do
        began=$(now)
        cold office good.fodt >/dev/null 2>&1
        took=$(($(now) - began))
        [ $slowest -gt $took ] || slowest=$took
    done
    echo $((slowest * 5 / 3 + 1000))
}
next_is_good() {
    local i limit began=$(now)
    $make text $S/good.fodt 'Good again'
    office good.fodt >$folder/said 2>&1 || { echo "status $?"; cat $folder/said; }
    local -r took=$(($(now) - began))
    pdftotext $T/good.pdf - | grep -q 'Good again' || echo 'not converted'
    is_warm || echo 'the one after it was not warm'
    [ $took -le 2000 ] || { limit=$(recovery_limit); [ $took -le $limit ]; } ||
        echo "took $took ms of $limit"
    rm -f $S/good.fodt $T/good.pdf
    for i in {1..150}; do [ -n "$(left)" ] || return 0; sleep 0.1; done
    left
}
)sh";

}  // namespace vellumo::test

#endif
