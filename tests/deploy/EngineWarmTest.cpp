// SPDX-License-Identifier: Apache-2.0
// The office that the embedded engine keeps warm: as everywhere, and how it is started and stopped.
#include "EmbeddedOffice.h"

namespace vellumo::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::Field;
using testing::HasSubstr;

INSTANTIATE_TEST_SUITE_P(EngineWarm, WarmOffice,
                         testing::Values(KindOf<EmbeddedOffice>("embedded")));
INSTANTIATE_TEST_SUITE_P(EngineWarm, WorstTool,
                         testing::Values(KindOf<EmbeddedOffice>("embedded")));

class EngineWarm : public testing::Test, protected EmbeddedOffice {
protected:
    void SetUp() override {
        if (const std::string missing = Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
    }

    // With a warm office for navo1.
    Said Warm(const std::string& script) { return RunWarm({}, script); }
};

TEST_F(EngineWarm, LeavesOtherCommandsToASandboxOfTheirOwn) {
    EXPECT_THAT(Warm("document text a.fodt a; tool cat /proc/1/comm; docker exec navo1 soffice "
                     "  --headless --convert-to pdf --outdir $target/ $source/a.fodt; ls -A $T")
                    .text,
                AllOf(testing::StartsWith("bwrap\n"), HasSubstr("writer_pdf_Export"),
                      EndsWith("\na.pdf\n")));
}

TEST_F(EngineWarm, ReadsForARootWithOtherEffectiveIdsADocumentThatOthersMayNotRead) {
    if (!IsRoot()) {
        GTEST_SKIP() << "the tests do not run as root";
    }
    const Said said = Warm(R"sh(
        document text a.fodt private; without_cold
        setpriv --euid=1234 --egid=1234 --clear-groups docker exec navo1 timeout --kill-after=5 120 \
            soffice --headless --convert-to pdf --outdir $target/ $source/a.fodt
        pdftotext $T/a.pdf - | head -1; stat -c '%u %g' $T/a.pdf)sh");
    EXPECT_THAT(said, Says(0, "private\n0 0\n"));
}

TEST_F(EngineWarm, IsNotThereUntilItIsStarted) {
    EXPECT_THAT(Try("docker status; docker status navo1; echo $?; document text a.fodt a; "
                    "office a.fodt 2>&1 | grep -c writer_pdf_Export; ls -A $T $above"),
                Says(0,
                     "navo1 cold\n3\n1\n/volume1/docker/@tmp/Vellumo/@tmp:\nsource\ntarget\n\n"
                     "/volume1/docker/@tmp/Vellumo/@tmp/target:\na.pdf\n"));
}

TEST_F(EngineWarm, IsStartedOnceHoweverOften) {
    const Said said = Try(R"sh(
        for i in 1 2 3; do docker start navo1 & starts="$starts $!"; done
        for start in $starts; do wait $start || echo $?; done
        docker start navo1; pgrep -xc keep-office
        docker status | sed 's/[0-9]*$//'; docker status navo1 | sed 's/[0-9]*$//')sh");
    EXPECT_THAT(said, Says(0, "1\nnavo1 warm \nnavo1 warm \n"));
}

TEST_F(EngineWarm, LeavesNothingWhenItIsStopped) {
    const Said said = Warm(R"sh(
        groups_of $(keeper_process) >$folder/groups
        docker stop navo1; echo $?; docker status navo1; list_office; ls -A $above
        groups_left $folder/groups
        docker stop navo1; echo $?)sh");
    EXPECT_THAT(said, Says(0, "0\nnavo1 cold\nsource\ntarget\n0\n"));
}

TEST_F(EngineWarm, LeavesToAColdOneWhatItWasStoppedIn) {
    const Said said = Warm(R"sh(
        document long long.fodt 300
        office long.fodt >$folder/said 2>&1 & call=$!
        await works long.fodt; docker stop navo1; wait $call; echo $?
        grep -c writer_pdf_Export $folder/said; [ $(pages long.pdf) -gt 200 ] || echo not whole
        ls -A $above)sh");
    EXPECT_THAT(said, Says(0, "0\n1\nsource\ntarget\n"));
}

TEST_F(EngineWarm, LeavesNoProcessWhenItIsKilledAndIsSweptUpAfterByTheNext) {
    const Said said = Warm(R"sh(
        kill -KILL $(docker status navo1 | cut -d' ' -f3)
        all_ended() { [ -z "$(list_office)" ]; }
        await all_ended; docker status navo1; ls -A $above | grep -c warm
        touch $above/.warm-navo1/leftover; document text a.fodt a
        office a.fodt >$folder/said 2>&1; echo $?
        docker start navo1; ls $above/.warm-navo1 | grep -c leftover; rm $T/*; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "navo1 cold\n1\n0\n0\n"));
}

TEST_F(EngineWarm, EndsWhenItsPlaceIsRemovedAndLeavesTheNextOneAlone) {
    const Said said = Warm(R"sh(
        first=$(docker status navo1 | cut -d' ' -f3)
        rm -rf $above/.warm-navo1; docker status navo1; docker start navo1; echo $?
        await gone $first; pgrep -x vellumo-office | wc -l
        docker status navo1 | cut -d' ' -f1,2; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "navo1 cold\n0\n1\nnavo1 warm\n"));
}

TEST_F(EngineWarm, EndsWithItsView) {
    EXPECT_EQ(Warm("docker status navo1").status, 0);
    EXPECT_THAT(Try("ls -A $above | grep warm; docker status navo1; pgrep soffice; "
                    "docker start navo1; next_is_good; docker stop navo1; ls -A $above"),
                Says(0, ".warm-navo1\nnavo1 cold\nsource\ntarget\n"));
}

TEST_F(EngineWarm, IsOneForEachName) {
    const Said said = Warm(R"sh(
        docker start navo2; docker status | cut -d' ' -f1,2; docker stop navo1
        docker status | cut -d' ' -f1,2; document text a.fodt two; without_cold
        docker exec navo2 timeout --kill-after=5 60 unoconv -o $target/x.pdf --format=pdf \
            $source/a.fodt; pdftotext $T/x.pdf - | head -1
        unoconv y.pdf $source/a.fodt 2>/dev/null; echo $?)sh");
    EXPECT_THAT(said, Says(0, "navo1 warm\nnavo2 warm\nnavo2 warm\ntwo\n125\n"));
}

TEST_F(EngineWarm, OutlivesWhoStartedItAndKeepsNoneOfItsFiles) {
    // The substitution ends when nobody has its pipe any more.
    EXPECT_THAT(Try("said=$(bash -c 'exec 7</volume1/docs; docker start navo1' 2>&1); echo $said; "
                    "keeper=$(docker status navo1 | cut -d' ' -f3); "
                    "ls -l /proc/$keeper/fd | grep -c volume1/docs; is_warm; echo $?"),
                Says(0, "\n0\n0\n"));
}

TEST_F(EngineWarm, HasNoRightsAndSeesNothingButItsRoom) {
    const Said said = Warm(R"sh(
        document text other.fodt other
        fork=$(spare_process)
        for fact in CapEff NoNewPrivs Seccomp; do grep $fact: /proc/$fork/status; done
        user=$(awk '/^Uid/ {print $2}' /proc/$fork/status); [ $user -ge 1879048192 ] || echo user $user
        grep -o '^ *[a-z0-9]*:' /proc/$fork/net/dev
        (cd /proc/$fork/root && ls -A Vellumo/@tmp volume1/docker/@tmp/Vellumo/@tmp)
        [ "$(readlink /proc/$fork/ns/pid)" = "$(readlink /proc/self/ns/pid)" ] && echo one pid)sh");
    EXPECT_EQ(said.text,
              "CapEff:\t0000000000000000\nNoNewPrivs:\t1\nSeccomp:\t2\n    lo:\n"
              "Vellumo/@tmp:\n\nvolume1/docker/@tmp/Vellumo/@tmp:\n.warm-navo1\n");
}

TEST_F(EngineWarm, KeepsNoFileOfADocument) {
    const Said said = Warm(R"sh(
        files() {
            spare_process >$folder/spare; sleep 0.5
            in_office find /tmp /dev/shm /var /run /volume1 -printf '%y %m %U %p %s %l\n' 2>/dev/null |
                sed 's/ 187[0-9]* / FORK /; s/room-[0-9]*/room/' | sort
        }
        next_is_good; files >$folder/before; grep -q room $folder/before || echo no room
        cp )sh" VELLUMO_SAMPLES R"sh(/*.{docx,odt,xlsx,pptx} $S
        document embedded a.odt 123 'Vellumo Odd'; document changes b.fodt ann bob
        document slow slow.fods; printf 'PK\3\4junk' >$S/junk.docx
        for path in $S/*; do limit=3 office ${path##*/} >/dev/null 2>&1; done
        document long long.fodt 300; office long.fodt >/dev/null 2>&1 &
        await works long.fodt; kill -KILL $(child_process); wait
        rm -r $S/* $T/*; next_is_good; files | diff $folder/before -)sh");
    EXPECT_THAT(said.text, testing::IsEmpty());
}

TEST_F(EngineWarm, WorksForAnOrdinaryUser) {
    SKIP_WITHOUT_ORDINARY_USER();
    const Said said = InViewOfOrdinaryUser("make=" VELLUMO_MAKE_DOCUMENT R"sh(
        $make text $S/a.fodt ordinary
        docker start navo1 && mount --bind /usr/bin/false /usr/bin/bwrap
        tool soffice --headless --convert-to pdf --outdir $target/ $source/a.fodt; echo $?
        pdftotext $T/a.pdf - | head -1; docker stop navo1; pgrep "soffice|keep"; ls -A ${T%/*}
        )sh");
    EXPECT_THAT(said, Says(0, "0\nordinary\nsource\ntarget\n"));
}

TEST_F(EngineWarm, TellsWhyItCannotBe) {
    const Said said = Try(R"sh(
        document text a.fodt a
        program=$(dirname "$engine")/engine-data/office/vellumo-office
        printf '#!/bin/sh\necho "vellumo-office: no memory"; exit 78\n' >$folder/no-office
        chmod 755 $folder/no-office; mount --bind $folder/no-office $program || exit 77
        docker start navo1; echo $?; docker status navo1
        office a.fodt >$folder/said 2>&1; echo $?; ls -A $above)sh");
    EXPECT_THAT(said,
                Says(0,
                     "vellumo-office: no memory\n"
                     "vellumo-engine: no office can be kept warm, so each document gets an office "
                     "of its own; install libreoffice-writer, -calc, -impress and -draw of Debian "
                     "12\n125\nnavo1 cold\n0\nsource\ntarget\n"));
    EXPECT_THAT(Try("without_cold; docker start navo1"),
                AllOf(Field(&Said::status, 125), Field(&Said::text, HasSubstr("namespaces"))));
}

TEST_F(EngineWarm, ExplainsWrongUsage) {
    for (const char* arguments : {"start", "stop", "start navo1 navo2", "status navo1 navo2"}) {
        EXPECT_THAT(Try(std::string("docker ") + arguments),
                    AllOf(Field(&Said::status, 125), Field(&Said::text, HasSubstr("one container's "
                                                                                  "name"))))
            << arguments;
    }
    EXPECT_THAT(Try("docker start ../x").text, HasSubstr("\"../x\" is no container name"));
    EXPECT_THAT(Try("docker start $(printf %060d 1)"),
                AllOf(Field(&Said::status, 125), Field(&Said::text, HasSubstr("a shorter name"))));
}

}  // namespace
}  // namespace vellumo::test
