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
tool() { docker exec $container timeout --kill-after=5 ${limit:-120} "$@"; }
document() {
    local kind=$1 name=$2; shift 2
    $make $kind $S/$name "$@"; chown 12345 $S/$name; chmod 600 $S/$name
}
office() { tool soffice --headless --convert-to pdf --outdir $target/ $source/$1; }
unoconv() { tool unoconv -o $target/$1 --format=pdf "${@:2}"; }
cut() { tool pdftk A=$source/$2 cat A1-1 output $target/$1; }
render() {
    tool convert -define pdf:use-cropbox=true -density 72 -resize 35% $source/$2 $target/$1
}
process() { docker top $container -eo pid,args | awk -v what=$1 'index($0, what) {print $1; exit}'; }
office_process() { process soffice.bin; }
keeper_process() { process office-keeper; }
is_warm() {
    $make text $S/warm.fodt warm
    local said; said=$(office warm.fodt 2>&1); local -r status=$?
    rm -f $S/warm.fodt $T/warm.pdf
    [ $status = 0 ] && [ -z "$said" ]
}
warm() { for i in {1..40}; do is_warm && return; sleep 0.5; done; echo 'no warm office'; exit 98; }
left() {
    ls -A $T
    docker exec $container find /tmp -mindepth 1 -maxdepth 1 ! -name 'OSL_PIPE_65534_*' \
        ! -name 'vellumo-office-*'
    docker top $container -eo pid,args | grep -v -e tini -e keep -e office-driver -e COMMAND |
        grep -v 'soffice.bin.*accept'
}
next_is_good() {
    local i began=$(date +%s%N)
    $make text $S/good.fodt 'Good again'
    office good.fodt >$folder/said 2>&1 || { echo "status $?"; cat $folder/said; }
    local -r took=$((($(date +%s%N) - began) / 1000000))
    [ $took -lt 5000 ] || echo "took $took ms"
    pdftotext $T/good.pdf - | grep -q 'Good again' || echo 'not converted'
    rm -f $S/good.fodt $T/good.pdf
    warm
    for i in {1..150}; do [ -n "$(left)" ] || break; sleep 0.1; done
    left || true
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
    const Said said =
        Do(VELLUMO_RUN " --scratch $scratch $container " + options + " >/dev/null && warm");
    ASSERT_EQ(said.status, 0) << said.text;
}

Said ContainerTest::Do(const std::string& script) const {
    return OnHost("make=" VELLUMO_MAKE_DOCUMENT + std::string(kCommon) + script);
}

}  // namespace vellumo::test
