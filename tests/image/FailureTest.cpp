// SPDX-License-Identifier: Apache-2.0
// What goes wrong around a conversion in a container: limits reached, places full, callers killed.
// After each the next document converts as if nothing had been.
#include "Container.h"

namespace vellumo::test {
namespace {

class Failure : public ContainerTest {};

// A container whose pdftk does what its document says; see `order`.
constexpr const char* kObedient = "-v $folder/obedient:/opt/vellumo/bin/pdftk:ro ";

TEST_F(Failure, OfMemoryEndsTheDocumentsProcessAlone) {
    Start(std::string(kObedient) + "--memory 400m --memory-swap 400m");
    const Said said = Do(R"sh(
        keeper=$(keeper_process)
        order eats 'exec python3 -c "x = b\"x\" * (1 << 30)"'
        cut_page x.pdf eats.pdf 2>/dev/null; echo $?
        document huge huge.fodt 160000
        office huge.fodt >/dev/null 2>&1; echo $?
        unoconv x.pdf $source/huge.fodt >/dev/null 2>&1; echo $?
        [ $(keeper_process) = $keeper ] || echo 'the keeper too'
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, "137\n137\n137\n"));
}

TEST_F(Failure, OfProcessesEndsWithTheDocument) {
    Start(std::string(kObedient) + "--pids-limit 60");
    const Said said = Do(R"sh(
        order forks 'while setsid sleep 100 2>/dev/null & do :; done'
        cut_page x.pdf forks.pdf 2>&1 | grep -o 'Cannot fork' | sort -u
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, "Cannot fork\n"));
}

TEST_F(Failure, OfSpaceInTheContainer) {
    Start(kObedient);
    const Said said = Do(R"sh(
        nsenter --target $(process tini) --mount mount -o remount,size=64m /tmp
        order fills 'exec 2>&1; head -c 2G /dev/zero >"$5"'
        cut_page x.pdf fills.pdf 2>&1 | grep -o 'No space left on device'
        rm $T/x.pdf; next_is_good
        docker exec $container sh -c 'cat /dev/zero >/tmp/filler' 2>/dev/null
        document text a.fodt a; office a.fodt; echo $?
        docker exec $container rm /tmp/filler
        next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "No space left on device\n"
                           "soffice: /Vellumo/@tmp/source/a.fodt: No space left on device\n125\n"));
}

TEST_F(Failure, OfTheTargetDirectory) {
    const Said said = Do(R"sh(
        mkdir -p $S $T; place=$T
        daemon=$(pgrep -of "dockerd .*$DOCKER_HOST" || pgrep -ox dockerd)
        of_daemon() { nsenter --target $daemon --mount "$@"; }  # which may have mounts of its own
        of_daemon mount -t tmpfs -o size=64k tmpfs $place; T=/proc/$daemon/root$place
        trap 'docker rm -f $container >/dev/null; of_daemon umount $place' EXIT
        run $container && warm
        document long long.fodt 300; office long.fodt; echo $?; unoconv x.pdf $source/long.fodt; echo $?
        next_is_good
        of_daemon mount -o remount,ro $place; document text a.fodt a; office a.fodt; echo $?
        of_daemon mount -o remount,rw $place; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/target/long.pdf: No space left on device\n125\n"
                           "unoconv: /Vellumo/@tmp/target/x.pdf: No space left on device\n125\n"
                           "soffice: /Vellumo/@tmp/target/a.pdf: Read-only file system\n125\n"));
}

TEST_F(Failure, IsNoneWhenTheSourceVanishesMeanwhile) {
    Start();
    const Said said = Do(R"sh(
        for way in eval cold; do
            document long long.fodt 300; $way office long.fodt >/dev/null 2>&1 & call=$!
            await works long.fodt; rm $S/long.fodt; wait $call; echo $?
            pdftotext $T/long.pdf - | grep -c -m1 line; rm $T/long.pdf; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, "0\n1\n0\n1\n"));
}

TEST_F(Failure, OfTheClientLeavesTheCommandToItsTimeLimit) {
    Start();
    const Said said = Do(R"sh(
        document slow slow.fods
        limit=6 office slow.fods 2>/dev/null & await works slow.fods
        kill -KILL $(pgrep -xf "docker exec .*$container .*$source/slow.fods")
        wait 2>/dev/null
        runs() { docker top $container -eo pid,args | grep -q ' timeout'; }
        sleep 1; runs && echo goes on
        await eval '! runs'; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "goes on\n"));
}

TEST_F(Failure, OfTheTimeLimitsOwnProcessEndsTheCommand) {
    Start();
    const Said said = Do(R"sh(
        document slow slow.fods
        for way in eval cold; do
            $way office slow.fods >/dev/null 2>&1 & call=$!
            await works slow.fods; kill -KILL $(process 'timeout --kill-after'); wait $call; echo $?
            next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, "137\n137\n"));
}

TEST_F(Failure, OfTheContainerInTheMiddle) {
    Start();
    const Said said = Do(R"sh(
        for way in kill 'restart -t 5'; do
            document slow slow.fods; office slow.fods >/dev/null 2>&1 & call=$!
            await works slow.fods; docker $way $container >/dev/null; wait $call; echo $?
            docker start $container >/dev/null; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, "137\n137\n"));
}

TEST_F(Failure, OfTheContainersFirstProcessStartsItAgain) {
    Start();
    const Said said = Do(R"sh(
        first=$(process tini); kill -KILL $first
        again() { new=$(process tini 2>/dev/null) && [ -n "$new" ] && [ $new != $first ]; }
        await again; next_is_good)sh");
    EXPECT_THAT(said, Says(0, ""));
}

}  // namespace
}  // namespace vellumo::test
