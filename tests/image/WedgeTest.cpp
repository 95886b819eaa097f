// SPDX-License-Identifier: Apache-2.0
// A document that hangs, among others that several processes convert in the same pool.
#include "Container.h"

namespace vellumo::test {
namespace {

class Wedge : public ContainerTest {};

// All twenty are good, however long the hanging one keeps its container, and within a bound. With
// the hanging one they have one container instead of two, so their work takes twice as long. And
// each of the twenty takes the container from the one before it: who waits looks for a free one
// every half second (USLEEP_TIME), so that it stands idle for no longer than this each time. How
// long the work takes is measured here, without the hanging one: on whatever machine, it counts.
TEST_F(Wedge, OfOneDocumentKeepsOnlyItsOwnContainer) {
    Start("-e VELLUMO_OFFICE_DEADLINE=20");
    const Said said = Do(R"sh(
        run ${container}b -e VELLUMO_OFFICE_DEADLINE=20
        trap "docker rm -f ${container}b >/dev/null" EXIT
        (container=${container}b; warm)
        in_view '
            now() { date +%s%3N; }
            $vellumo pool add $container ${container}b >/dev/null
            cd /volume1/docs; $make slow slow.fods
            for i in {1..20}; do $make text $i.fodt "Document $i"; done; chown 12345 *
            convert() {
                $vellumo pdf -o $folder/$1.pdf /docs/$1 >$folder/log.$1 2>&1; echo $? >$folder/status.$1
            }
            all_good() {
                local i calls=() began=$(now)
                for i in {1..20}; do convert $i.fodt & calls+=($!); done; wait ${calls[@]}
                took=$(($(now) - began))
                for i in {1..20}; do
                    pdftotext $folder/$i.fodt.pdf - | grep -qx "Document $i" ||
                        { echo "$i: status $(<$folder/status.$i.fodt)"; cat $folder/log.$i.fodt; }
                done; rm -f $folder/*.pdf
            }
            all_good; usual=$took
            convert slow.fods & slow=$!
            in_use() { $vellumo pool --json | grep -q "\"using\" *: *1"; }
            for i in {1..100}; do in_use && break; sleep 0.1; done; in_use || echo not begun
            all_good
            [ $took -le $((2 * usual + 20 * 500)) ] || echo "took $took ms, alone $usual ms"
            wait $slow; echo slow: status $(<$folder/status.slow.fods)
            ls /volume1/docker/@tmp/Vellumo/@tmp/*
            ! in_use || echo still in use'
        next_is_good; container=${container}b; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "slow: status 5\n/volume1/docker/@tmp/Vellumo/@tmp/source:\n\n"
                           "/volume1/docker/@tmp/Vellumo/@tmp/target:\n"));
}

}  // namespace
}  // namespace vellumo::test
