// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_OFFICESCRIPT_H
#define VELLUMO_TESTS_DEPLOY_OFFICESCRIPT_H

namespace vellumo::test {

// What scripts find where an office may be kept warm.
//
//   document KIND NAME …    makes a source, which another user's is where that can be
//   office NAME, unoconv PRODUCT … SOURCE      the office's commands, run as the core does
//   cold COMMAND…           has one of those done without the warm office
//   pages NAME              of a product
//   office_process, driver_process, keeper_process     one of the warm office's, waited for
//   gone PROCESS            tells whether it has ended
//   works NAME              tells whether an office has that document open
//   is_warm                 tells whether a document meets a warm office
//   warm                    waits for that, and fails when it does not come
//   next_is_good            converts a document and says how, should it fail or take over 2 s (more
//                           on a busy machine), should the one after it not meet a warm office, or
//                           should anything be left running or lying about
//
// The place has to offer $make, $source, $target, $S and $T, further
//   tool COMMAND…           runs a command as the core does; $limit is its time limit, if set
//   cold COMMAND…           see above
//   processes PROGRAM       the numbers of the place's processes that run it
//   left                    says what is left running or lying about
constexpr const char* kOfficeScript = R"sh(
now() { date +%s%3N; }
hide() { chown 12345 "$1" 2>/dev/null; chmod 600 "$1"; }
document() { local kind=$1 name=$2; shift 2; $make $kind $S/$name "$@"; hide $S/$name; }
office() { tool soffice --headless --convert-to pdf --outdir $target/ $source/$1; }
unoconv() { tool unoconv -o $target/$1 --format=pdf "${@:2}"; }
pages() { pdfinfo $T/$1 | sed -n 's/^Pages: *//p'; }
one() {
    local i
    for i in {1..100}; do processes $1 | grep -m1 . && return; sleep 0.1; done
    echo "no $1" >&2; return 1
}
office_process() { one soffice.bin; }
driver_process() { one office-driver; }
keeper_process() { one office-keeper; }
gone() { ! kill -0 $1 2>/dev/null; }
works() {
    local each
    for each in $(processes soffice.bin); do ls -l /proc/$each/fd; done 2>/dev/null | grep -q "/$1$"
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
