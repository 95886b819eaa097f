// SPDX-License-Identifier: Apache-2.0
#include "Container.h"

#include <unistd.h>

#include "Process.h"

namespace vellumo::test {
namespace {

constexpr const char* kCommon = R"sh(
container=navo$(basename $folder | tr -dc a-zA-Z0-9)
scratch=$folder/root/volume1/docker/@tmp/Vellumo/@tmp
source=/Vellumo/@tmp/source target=/Vellumo/@tmp/target S=$scratch/source T=$scratch/target
export DOCKER_HOST=$(<$folder/host)
image=${VELLUMO_IMAGE:-vellumo-converters}
run() { $run --image $image --scratch $scratch "$@" >/dev/null; }
tool() {
    docker exec ${VELLUMO_OFFICE_SOCKET+-e VELLUMO_OFFICE_SOCKET} $container \
        timeout --kill-after=5 ${limit:-120} "$@"
}
document() {
    local kind=$1 name=$2; shift 2
    $make $kind $S/$name "$@"; chown 12345 $S/$name; chmod 600 $S/$name
}
# A document that tells the pdftk of a container that has $folder/obedient in its place what to do.
order() { printf '%%PDF-\n%s\n' "$2" >$S/$1.pdf; chown 12345 $S/$1.pdf; chmod 600 $S/$1.pdf; }
printf '#!/bin/sh\ntail -n +2 "${1#A=}" >"$HOME/orders"\n. "$HOME/orders"\n' >$folder/obedient
chmod 755 $folder/obedient
office() { tool soffice --headless --convert-to pdf --outdir $target/ $source/$1; }
unoconv() { tool unoconv -o $target/$1 --format=pdf "${@:2}"; }
cut() { tool pdftk A=$source/$2 cat A1-1 output $target/$1; }
render() {
    tool convert -define pdf:use-cropbox=true -density 72 -resize 35% $source/$2 $target/$1
}
process() { docker top $container -eo pid,args | awk -v what="$1" 'index($0, what) {print $1; exit}'; }
office_process() { process soffice.bin; }
keeper_process() { process office-keeper; }
works() { docker exec $container ls /tmp | grep -q vellumo-room; }
office_comes() { [ -n "$(office_process)" ] && [ "$(office_process)" != $before ]; }
cold() { VELLUMO_OFFICE_SOCKET=/none "$@"; }
is_warm() {
    $make text $S/warm.fodt warm
    local said; said=$(office warm.fodt 2>&1); local -r status=$?
    rm -f $S/warm.fodt $T/warm.pdf
    [ $status = 0 ] && [ -z "$said" ]
}
warm() { for i in {1..40}; do is_warm && return; sleep 0.5; done; echo 'no warm office'; exit 98; }
# Runs a script in a device view over this test's folder, with the real engine's client.
in_view() {
    [ -e $folder/docker ] || cp --reflink=auto "$(type -P docker)" $folder/docker
    export run make samples vellumo folder container scratch image
    $device --root $folder/root --engine $folder/docker --log none -- bash -c "$1"
}
now() { date +%s%3N; }
left() {
    ls -A $T
    docker exec $container ls -A /tmp | grep -v '^OSL_PIPE_65534_' |
        awk '!/^vellumo-office-/ || ++offices > 1'
    docker top $container -eo pid,uid,args | tail -n +2 | grep -v ' 0 .*\(tini\|keep\)' |
        awk '!/ 65534 .*office-driver/ || ++drivers > 1' |
        awk '!/ 65534 .*soffice.bin.*accept/ || ++offices > 1'
}
# Two seconds, where a cold conversion takes 1.2 s. A machine that is busy with something else is
# told from a container that has not recovered by what a cold conversion takes right then: it is in
# no way slower for what was provoked, unless something of that still runs, which `left` finds.
recovery_limit() {
    local i began took slowest=0
    for i in 1 2 3; do
        began=$(now)
        cold office good.fodt >/dev/null 2>&1
        took=$(($(now) - began))
        [ $slowest -gt $took ] || slowest=$took
    done
    echo $((slowest > 1200 ? slowest * 2000 / 1200 : 2000))
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

}  // namespace

void ContainerTest::SetUp() {
    if (!IsRoot()) {
        GTEST_SKIP() << "the container engine needs root";
    }
    const Said host = OnHost(VELLUMO_IMAGE_ENGINE " host | tee $folder/host; exit $PIPESTATUS");
    if (host.status != 0) {
        GTEST_SKIP() << host.text;
    }
}

void ContainerTest::TearDown() {
    if (!IsSkipped()) {
        Do("docker rm -f $container >/dev/null");
    }
}

void ContainerTest::Start(const std::string& options) const {
    const Said said = Do("run $container " + options + " && warm");
    ASSERT_EQ(said.status, 0) << said.text;
}

Said ContainerTest::Do(const std::string& script) const {
    return OnHost("make=" VELLUMO_MAKE_DOCUMENT " run=" VELLUMO_RUN " vellumo=" VELLUMO_TOOL
                  " samples=" VELLUMO_SAMPLES +
                  std::string(kCommon) + script);
}

}  // namespace vellumo::test
