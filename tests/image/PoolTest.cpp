// SPDX-License-Identifier: Apache-2.0
// The pool's set-up with a real engine. In a device view, whose scratch tree that engine finds in
// the test's folder.
#include "Container.h"

namespace vellumo::test {
namespace {

class Pool : public ContainerTest {
protected:
    void SetUp() override {
        ContainerTest::SetUp();
        if (!IsSkipped() &&
            !Do("docker inspect -f '{{.Name}}' navo1 navo2 navo3 2>/dev/null | grep /")
                 .text.empty()) {
            GTEST_SKIP()
                << "the engine has containers navo1, navo2 or navo3 that are not the test's";
        }
    }
    void TearDown() override {
        if (!IsSkipped()) {
            Do("docker rm -f navo1 navo2 navo3 2>/dev/null");
        }
        ContainerTest::TearDown();
    }

    // Runs a script in the view; it finds `up`, which brings up a pool of two,
    // and `entry NAME`, which shows a container's in the state file.
    Said InPool(const std::string& script) const {
        return Do("in_view '" + std::string(kInPool) + script + "'");
    }

private:
    static constexpr const char* kInPool = R"sh(
        exec 2>&1
        up() { $vellumo pool up --size 2 --image $image --engine-scratch $scratch; }
        said_as_json() { "$@" --json | tr -d "\" \n"; }
        entry() { said_as_json $vellumo pool | grep -o "name:$1[^}]*"; }
        await() { for i in {1..200}; do "$@" && return; sleep 0.1; done; echo "in vain: $*"; exit 99; }
    )sh";
};

TEST_F(Pool, ComesUpConvertsAndGoesDown) {
    const Said said = InPool(R"sh(
        up; docker ps --filter label=vellumo.pool=yes --format "{{.Names}}" | sort
        cp $samples/report.odt /volume1/docs/
        $vellumo pdf -o $folder/x.pdf /docs/report.odt >/dev/null; pdfinfo $folder/x.pdf | grep -c Pages
        $vellumo pool status | sed -E "s/[0-9.]+MiB/N MiB/g; s/^(Engine: Docker).*/\1/; s/  +/ /g"
        said_as_json $vellumo pool status |
            grep -oE "answers:[a-z]*|memory:[0-9.]+MiB|used:." | sed "s/[0-9.]*MiB/N MiB/"
        docker stop -t 0 navo2 >/dev/null
        $vellumo pool status | grep -o "navo2.*does not answer"; echo ${PIPESTATUS[0]}
        $vellumo pool down; docker ps -a --filter label=vellumo.pool=yes --format "{{.Names}}"
        entry navo; true)sh");
    EXPECT_THAT(said, Says(0, R"(navo1: started
navo2: started
navo1: registered
navo2: registered
navo1
navo2
1
Engine: Docker
CONTAINER USING USED MEMORY HEALTH
navo1 0 1 N MiB / 1.5GiB answers, starting
navo2 0 0 N MiB / 1.5GiB answers, starting
0 jobs waiting
answers:true
memory:N MiB
used:1
answers:true
memory:N MiB
used:0
vellumo: the pool is not whole: 1 container without an answer
  'vellumo pool doctor' tells what to do.
navo2                0       0  -                     does not answer
8
navo1: taken out of the pool
navo2: taken out of the pool
navo1: ended
navo2: ended
)"));
}

TEST_F(Pool, LeavesAloneWhatRunsAndMendsTheRest) {
    const Said said = InPool(R"sh(
        up >/dev/null; started() { docker inspect -f "{{.State.StartedAt}}" navo1 navo2; }
        $make slow /volume1/docs/slow.fods; $vellumo pdf -o $folder/x.pdf /docs/slow.fods >/dev/null & call=$!
        runs() { docker top navo1 -eo pid,args | grep -q "timeout --kill-after"; }
        await runs; before=$(started)
        up; entry navo1; entry navo2
        [ "$(started)" = "$before" ] || echo started again; runs || echo ended
        echo -- its client is killed, before it can tell that its worker is
        kill -KILL $call $(pgrep -P $call) 2>/dev/null; wait $call 2>/dev/null; pkill -KILL -f "[e]xec navo1 timeout"
        runs || echo ended; up >/dev/null; entry navo1
        echo -- it has ended, and another container is gone
        docker exec navo1 sh -c "kill \$(pidof timeout)"; docker rm -f navo2 >/dev/null
        $vellumo pool add navo3 >/dev/null
        up | sed "s/dropped: .*/dropped/"; entry navo; said_as_json $vellumo pool | grep -o "running:[^,]*"
        )sh");
    EXPECT_THAT(said, Says(0, R"(navo1: runs already
navo2: runs already
name:navo1,used:1,using:1
name:navo2,used:0,using:0
-- its client is killed, before it can tell that its worker is
name:navo1,used:1,using:1
-- it has ended, and another container is gone
navo1: runs already
navo2: started
navo1: counted as busy, and nothing runs in it; set right
navo3: taken out of the pool
counted as running, and nothing runs; dropped
name:navo1,used:1,using:0
name:navo2,used:0,using:0
running:[]
)"));
}

// A container engine lets a command run on whose client has ended.
TEST_F(Pool, GetsASlotBackWhenTheInterruptedToolHasEnded) {
    const Said said = InPool(R"sh(
        up >/dev/null; $make slow /volume1/docs/slow.fods
        runs() { for name in navo1 navo2; do docker top $name -eo pid,args; done | grep " timeout "; }
        $vellumo pdf -o $folder/x.pdf /docs/slow.fods >/dev/null 2>&1 & run=$!
        await runs >/dev/null; sleep 1; kill -TERM $run; wait $run; echo $?
        runs; entry navo | grep -o "using:[0-9]"; ls -A $scratch/source; true)sh");
    EXPECT_THAT(said, Says(0, "130\nusing:0\nusing:0\n"));
}

TEST_F(Pool, IsExaminedToolByTool) {
    const Said said = InPool(R"sh(
        up >/dev/null; $vellumo pool doctor | sed "s/:.*//"
        printf "#!/bin/sh\necho out of order >&2; exit 3\n" >$folder/broken; chmod 755 $folder/broken
        docker rm -f navo2 >/dev/null
        $run --image $image --engine-scratch $scratch navo2 --label vellumo.pool=yes \
            -v $folder/broken:/opt/vellumo/bin/convert:ro >/dev/null
        $vellumo pool doctor | grep -A 1 -e FAILED; echo ${PIPESTATUS[0]})sh");
    EXPECT_THAT(said, Says(0, R"(ok      rights
ok      server
ok      index of the cache
ok      state file
ok      engine
ok      pool
ok      navo1
ok      navo2
ok      soffice
ok      unoconv
ok      unoconv, spreadsheets
ok      pdftk
ok      convert
ok      ebook-convert
ok      ebook-meta
Everything is sound.
FAILED  convert: the tool (pdftk or convert) made no usable product; out of order
        See that the tool is there and runs where the converters do (packages imagemagick, ghostscript).
8
)"));
}

}  // namespace
}  // namespace vellumo::test
