// SPDX-License-Identifier: Apache-2.0
// The Compose file, which says once more what the run line says.
#include "Container.h"

namespace vellumo::test {
namespace {

class Compose : public ContainerTest {
protected:
    void SetUp() override {
        ContainerTest::SetUp();
        if (!IsSkipped() && OnHost("type -P docker-compose").status != 0) {
            GTEST_SKIP() << "docker-compose is not installed";
        }
    }
};

TEST_F(Compose, StartsTheSameContainersAsTheRunLine) {
    Start();
    const Said said = Do(R"sh(
        compose() { VELLUMO_SCRATCH=$scratch docker-compose -p $container -f )sh" VELLUMO_COMPOSE
                         R"sh( "$@" >>$folder/compose 2>&1; }
        trap 'compose down --timeout 1' EXIT
        look() {
            docker inspect --format '{{with .HostConfig}}{{.NetworkMode}} {{.IpcMode}} {{.CapDrop}}
                {{.ReadonlyRootfs}} {{.RestartPolicy}} {{.SecurityOpt}} {{.Memory}} {{.MemorySwap}}
                {{.PidsLimit}} {{.Tmpfs}}{{range .CapAdd}}
                {{.}}{{end}}{{end}}{{range .Mounts}}
                {{.Source}} {{.Destination}} {{.RW}}{{end}}' $1 | sed 's/CAP_//' | sort
        }
        compose up -d || cat $folder/compose
        look $container >$folder/run
        for name in navo1 navo2; do look $name | diff $folder/run - && echo $name; done
        (container=navo2; warm; document text a.fodt a; office a.fodt; ls $T))sh");
    EXPECT_THAT(said, Says(0, "navo1\nnavo2\na.pdf\n"));
}

}  // namespace
}  // namespace vellumo::test
