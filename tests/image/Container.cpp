// SPDX-License-Identifier: Apache-2.0
#include "Container.h"

#include "OfficeScript.h"

namespace vellumo::test {
namespace {

constexpr const char* kContainer = R"sh(
container=navo$(basename $folder | tr -dc a-zA-Z0-9)
scratch=$folder/root/volume1/docker/@tmp/Vellumo/@tmp
source=/Vellumo/@tmp/source target=/Vellumo/@tmp/target S=$scratch/source T=$scratch/target
export DOCKER_HOST=$(<$folder/host)
image=${VELLUMO_IMAGE:-vellumo-converters}
run() { $run --image $image --scratch $scratch "$@" >/dev/null; }
tool() {
    docker exec ${VELLUMO_OFFICE_SOCKET+-e VELLUMO_OFFICE_SOCKET} \
        ${VELLUMO_COLD_STATUS+-e VELLUMO_COLD_STATUS} $container \
        timeout --kill-after=5 ${limit:-120} "$@"
}
render() {
    tool convert -define pdf:use-cropbox=true -density 72 -resize 35% $source/$2 $target/$1
}
process() { docker top $container -eo pid,args | awk -v what="$1" 'index($0, what) {print $1; exit}'; }
processes() { docker top $container -eo pid,comm | awk -v what="$1" '$2 == what {print $1}'; }
cold() { VELLUMO_OFFICE_SOCKET=/none "$@"; }
# Runs a script in a device view over this test's folder, with the real engine's client.
in_view() {
    [ -e $folder/docker ] || cp --reflink=auto "$(type -P docker)" $folder/docker
    export run make samples vellumo folder container scratch image
    $device --root $folder/root --engine $folder/docker --log none -- bash -c "$1"
}
left() {
    ls -A $T
    docker exec $container ls -A /tmp /dev/shm /tmp/vellumo-rooms | grep -v -e "^$" -e ":$" | awk '!/^vellumo-(rooms$|office-)/ || /office/ && ++offices > 1'
    docker exec $container sh -c 'ls /tmp/vellumo-office-*' | grep room | tail -n +2
    docker top $container -eo pid,uid,args | tail -n +2 | grep -v ' 0 .*\(tini\|keep\)' |
        awk '!/ 1[89][0-9]* .*vellumo-office keep/ || ++forks > 1'
}
)sh";

}  // namespace

Container::~Container() {
    if (_isPossible) {
        Do("docker rm -f $container >/dev/null");
    }
}

std::string Container::Missing() {
    if (!IsRoot()) {
        return "the container engine needs root";
    }
    const Said host = OnHost(VELLUMO_IMAGE_ENGINE " host | tee $folder/host; exit $PIPESTATUS");
    _isPossible = host.status == 0;
    return _isPossible ? "" : host.text;
}

Said Container::Up(const std::string& options) const {
    return Do("run $container " + options + " && warm");
}

Said Container::Do(const std::string& script) const {
    return OnHost("make=" VELLUMO_MAKE_DOCUMENT " run=" VELLUMO_RUN " vellumo=" VELLUMO_TOOL
                  " samples=" VELLUMO_SAMPLES +
                  std::string(kContainer) + kOfficeScript + script);
}

void ContainerTest::SetUp() {
    if (const std::string missing = Missing(); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
}

void ContainerTest::Start(const std::string& options) const {
    const Said said = Up(options);
    ASSERT_EQ(said.status, 0) << said.text;
}

}  // namespace vellumo::test
