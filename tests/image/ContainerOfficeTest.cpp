// SPDX-License-Identifier: Apache-2.0
// The warm office in a container: as everywhere, and what is special about one in a container.
#include "Container.h"
#include "WarmOffice.h"

namespace vellumo::test {
namespace {

class ContainerOffice : public WarmPlace, private Container {
public:
    std::string Missing() override { return Container::Missing(); }

    Said RunWarm(const std::vector<std::string>& settings, const std::string& script) override {
        std::string start = "run $container";
        for (const std::string& setting : settings) {
            start += " -e " + setting;
        }
        return Do(start + " && warm || exit 98\n" + kVocabulary + script);
    }

private:
    static constexpr const char* kVocabulary = R"sh(
        obey() {
            docker rm -f $container >/dev/null
            run $container -v $folder/obedient:/opt/vellumo/bin/pdftk:ro; warm
        }
        without_cold() { export VELLUMO_COLD_STATUS=77; }
        office_socket() { echo /proc/$(keeper_process)/root/run/vellumo/office; }
        end_caller() {
            kill -$1 $(docker top $container -eo pid,args |
                awk -v name="/$2" '$2 == "soffice" && index($0, name) {print $1}')
        }
        )sh";
};

INSTANTIATE_TEST_SUITE_P(Container, WarmOffice,
                         testing::Values(KindOf<ContainerOffice>("container")));
INSTANTIATE_TEST_SUITE_P(Container, WorstTool,
                         testing::Values(KindOf<ContainerOffice>("container")));

class WarmContainer : public ContainerTest {};

// As people do by hand. The engine's starter, which is the parent then, ends at any moment.
TEST_F(WarmContainer, AnswersCommandsWithoutATimeLimit) {
    Start();
    const Said said = Do(R"sh(
        document text a.fodt a
        for i in {1..6}; do
            docker exec -e VELLUMO_OFFICE_SOCKET=/none $container soffice --headless \
                --convert-to pdf --outdir $target/ $source/a.fodt >$folder/log 2>&1 ||
                { echo "status $?"; cat $folder/log; }
        done)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(WarmContainer, IsWhatTheHealthCheckLooksAt) {
    Start();
    EXPECT_EQ(Do("docker exec $container /opt/vellumo/warm/health").status, 0);
    EXPECT_THAT(Do("docker image inspect -f '{{.Config.Healthcheck.Test}}' $image"),
                Says(0, "[CMD /opt/vellumo/warm/health]\n"));
}

}  // namespace
}  // namespace vellumo::test
