// SPDX-License-Identifier: Apache-2.0
// The office that the engine keeps warm: what it answers, what it survives, what it leaves.
#include "Shell.h"

namespace vellumo::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::Field;
using testing::HasSubstr;

class EngineWarm : public ShellTest {
protected:
    void SetUp() override { SKIP_WITHOUT("soffice", "pdftotext", "pdfinfo", "pdftoppm"); }

    // Runs `script` in a view. It finds the converters' commands, and
    //   document KIND NAME …   makes a source
    //   limit                  the time limit of commands, 120 s unless set
    //   office_process, keeper_process
    //   without_cold           lets no sandbox be made any more, so that no cold office can answer
    //   next_is_good           converts a document and says how, should it take over 20 s or fail,
    //                          or leave anything but its product; then waits for a warm office
    Said Try(const std::string& script) const {
        return InView("make=" VELLUMO_MAKE_DOCUMENT + std::string(kTools) + script);
    }
    // The same with a warm office for navo1.
    Said Warm(const std::string& script) const {
        return Try("docker start navo1 || exit 97\n" + script);
    }

    static constexpr const char* kTools = R"sh(
        log=$folder/log above=${T%/*} rooms=${T%/*}/.warm-navo1/rooms
        tool() { docker exec navo1 timeout --kill-after=5 ${limit:-120} "$@"; }
        document() { local kind=$1 name=$2; shift 2; $make $kind $S/$name "$@"; }
        office() { tool soffice --headless --convert-to pdf --outdir $target/ $source/$1; }
        unoconv() { tool unoconv -o $target/$1 --format=pdf "${@:2}"; }
        pages() { pdfinfo $T/$1 | sed -n 's/^Pages: *//p'; }
        office_process() { pgrep -x soffice.bin; }
        keeper_process() { pgrep -x office-keeper; }
        list_office() { ps ax -o comm= | grep -e office -e keep; }
        gone() { ! kill -0 $1 2>/dev/null; }
        without_cold() { mount --bind /usr/bin/false /usr/bin/bwrap; }
        is_warm() {
            # A cold office prints what it does.
            $make text $S/warm.fodt warm
            local said; said=$(office warm.fodt 2>&1); local -r status=$?
            rm -f $S/warm.fodt $T/warm.pdf
            [ $status = 0 ] && [ -z "$said" ]
        }
        left() { ls -A $T; ls -A $rooms; ls -A $above | grep engine; }
        none_left() { [ -z "$(left)" ]; }
        next_is_good() {
            local began=$(date +%s%N)
            $make text $S/good.fodt 'Good again'
            office good.fodt >$folder/said 2>&1 || { echo "status $?"; cat $folder/said; }
            local -r took=$((($(date +%s%N) - began) / 1000000))
            [ $took -lt 20000 ] || echo "took $took ms"
            pdftotext $T/good.pdf - | grep -q 'Good again' || echo 'not converted'
            rm -f $S/good.fodt $T/good.pdf
            await is_warm; await none_left
        }
        )sh";
};

TEST_F(EngineWarm, AnswersAllFormsOfTheOfficesCommands) {
    const Said said = Warm(R"sh(
        document text a.fodt 'Hello office'; document sheet b.fods 40
        without_cold || exit 98
        office a.fodt; unoconv x.pdf $source/a.fodt; unoconv wide.pdf $source/b.fods
        unoconv page.pdf -e PageRange=2-2 $source/b.fods
        unoconv fit.pdf --spreadsheet-fitpage=x $source/b.fods
        unoconv fit1.pdf --spreadsheet-fitpage=x -e PageRange=1-1 $source/b.fods
        for name in a x page fit fit1; do
            echo $name $(pages $name.pdf) $(pdftotext $T/$name.pdf - | grep -m1 -i -e hello -e col)
        done
        [ $(pages wide.pdf) -gt 1 ] || echo not wide
        stat -c '%a %u' $T/a.pdf; ls -A $T | wc -l; tool true 2>/dev/null; echo $?)sh");
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.text, testing::ContainsRegex("^a 1 Hello office\nx 1 Hello office\n"
                                                  "page 1 column[0-9]+\nfit 1 column1\n"
                                                  "fit1 1 column1\n644 0\n6\n125\n$"));
}

TEST_F(EngineWarm, MakesTheSameAsAColdOne) {
    // Pictures, tables, formulas, shapes: one sample of each kind.
    const Said said = Warm(R"sh(
        cp )sh" VELLUMO_SAMPLES R"sh(/*.{docx,odt,xlsx,ods,odp,pptx,odg} $S
        look() { pdftotext -layout $1 -; pdftoppm -r 40 $1 | sha256sum; }
        convert_all() {
            local path name
            for path in $S/*; do
                name=${path##*/}
                office $name >/dev/null 2>&1 || echo "$name failed"
                unoconv first-$name.pdf -e PageRange=1-1 $source/$name || echo "first $name failed"
            done
            for path in $T/*; do echo ${path##*/}; look $path; done >$folder/$1; rm $T/*
        }
        await is_warm; convert_all warm; docker stop navo1; convert_all cold
        grep -c pdf $folder/warm; cmp $folder/warm $folder/cold)sh");
    EXPECT_THAT(said, Says(0, "14\n"));
}

TEST_F(EngineWarm, LeavesOtherUsesToASandboxOfTheirOwn) {
    EXPECT_THAT(Warm("tool soffice --version; document text a.fodt a; "
                     "tool unoconv --listener $source/a.fodt 2>/dev/null; echo $?; "
                     "tool cat /proc/1/comm; docker exec navo1 soffice --headless --convert-to "
                     "  pdf --outdir $target/ $source/a.fodt; ls -A $T")
                    .text,
                AllOf(HasSubstr("LibreOffice"), HasSubstr("\n2\nbwrap\n"),
                      HasSubstr("writer_pdf_Export"), EndsWith("\na.pdf\n")));
}

TEST_F(EngineWarm, FailsAsAColdOneDoes) {
    const Said said = Warm(R"sh(
        printf 'PK\3\4junk' >$S/a.docx
        office a.docx; echo $?; unoconv x.pdf $source/a.docx; echo $?; ls -A $T; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/source/a.docx: could not be loaded\n1\n"
                           "unoconv: /Vellumo/@tmp/source/a.docx: could not be loaded\n5\n"));
}

TEST_F(EngineWarm, RefusesADocumentThatIsNone) {
    const std::pair<const char*, const char*> cases[] = {
        {": >$S/a.docx", "/Vellumo/@tmp/source/a.docx: is empty"},
        {"true", "/Vellumo/@tmp/source/a.docx: No such file"},
        {"mkfifo $S/a.docx", "/Vellumo/@tmp/source/a.docx: is no regular file"},
        {"echo secret >/volume1/docs/x; ln -s /volume1/docs/x $S/a.docx", "Too many levels"},
    };
    for (const auto& [make, message] : cases) {
        EXPECT_THAT(
            Warm("rm -rf $S/*\n" + std::string(make) + "\noffice a.docx; echo $?; left").text,
            AllOf(HasSubstr(message), EndsWith("\n1\n")))
            << make;
    }
}

TEST_F(EngineWarm, ReadsADocumentThatOthersMayNotRead) {
    if (!IsRoot()) {
        GTEST_SKIP() << "the tests do not run as root";
    }
    EXPECT_THAT(Warm("document text a.fodt private; chmod 600 $S/a.fodt; chown 1234:1234 $S/a.fodt;"
                     "without_cold; "
                     "setpriv --euid=1234 --egid=1234 --clear-groups docker exec navo1 timeout "
                     "  --kill-after=5 120 soffice --headless --convert-to pdf --outdir $target/ "
                     "  $source/a.fodt; pdftotext $T/a.pdf - | head -1; stat -c '%u %g' $T/a.pdf"),
                Says(0, "private\n0 0\n"));
}

TEST_F(EngineWarm, EndsWithItsCallerWhenADocumentHangs) {
    const Said said = Warm(R"sh(
        await is_warm; document slow slow.fods; before=$(office_process)
        limit=3 office slow.fods; echo $?
        await gone $before; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "124\n"));
}

TEST_F(EngineWarm, StopsADocumentAtItsDeadline) {
    EXPECT_THAT(Try("export VELLUMO_OFFICE_DEADLINE=2; docker start navo1; "
                    "document slow slow.fods; office slow.fods; echo $?; next_is_good"),
                Says(0, "soffice: /Vellumo/@tmp/source/slow.fods: takes too long\n124\n"));
}

TEST_F(EngineWarm, StopsADocumentThatTakesTooMuchMemory) {
    const Said said = Try(R"sh(
        export VELLUMO_OFFICE_MEMORY=330; docker start navo1; document long long.fodt 3000
        office long.fodt; echo $?; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/source/long.fodt: takes too much memory\n"
                           "137\n"));
}

TEST_F(EngineWarm, StopsADocumentThatTakesTooMuchSpace) {
    const Said said = Try(R"sh(
        export VELLUMO_OFFICE_SPACE=0.05; docker start navo1; document long long.fodt 800
        office long.fodt; echo $?; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/source/long.fodt: takes too much space\n"
                           "153\n"));
}

TEST_F(EngineWarm, IsReplacedWhenItIsFrozen) {
    EXPECT_THAT(Warm("await is_warm; kill -STOP $(office_process); next_is_good"), Says(0, ""));
}

TEST_F(EngineWarm, IsReplacedWhenItIsKilled) {
    EXPECT_THAT(Warm("await is_warm; kill -KILL $(office_process); next_is_good"), Says(0, ""));
}

TEST_F(EngineWarm, ComesBackWhenItsKeeperIsKilled) {
    EXPECT_THAT(Warm("await is_warm; kill -KILL $(keeper_process); next_is_good"), Says(0, ""));
}

TEST_F(EngineWarm, IsNotMissedWhenItsKeeperIsFrozen) {
    EXPECT_THAT(Warm("await is_warm; keeper=$(keeper_process); kill -STOP $keeper; "
                     "document text a.fodt a; office a.fodt >$log 2>&1; echo $?; ls $T; rm $T/*; "
                     "grep -c writer_pdf_Export $log; kill -CONT $keeper; next_is_good"),
                Says(0, "0\na.pdf\n1\n"));
}

TEST_F(EngineWarm, IsFollowedByAColdOneWhenItCrashesInTheMiddle) {
    const Said said = Warm(R"sh(
        await is_warm; document long long.fodt 300
        office long.fodt >$log 2>&1 & call=$!
        working() { [ -e $rooms/vellumo-room-*/in/long.fodt ]; }
        await working; sleep 0.4; kill -SEGV $(office_process); wait $call; echo $?
        grep -c writer_pdf_Export $log; ls -A $T; rm $T/*; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "0\n1\nlong.pdf\n"));
}

TEST_F(EngineWarm, LeavesToTheColdOneOnlyTheRestOfTheTime) {
    const Said said = Warm(R"sh(
        await is_warm; document slow slow.fods; began=$(date +%s%N)
        limit=6 office slow.fods >$log 2>&1 & call=$!
        sleep 4; kill -SEGV $(office_process); wait $call; echo $?
        took=$((($(date +%s%N) - began) / 1000000)); [ $took -lt 9000 ] || echo "took $took ms"
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, "124\n"));
}

TEST_F(EngineWarm, LeavesNothingOfACallerThatIsEnded) {
    for (const std::string signal : {"TERM", "KILL"}) {
        const Said said = Warm("signal=" + signal + R"sh(
            await is_warm; document slow slow.fods; before=$(office_process)
            (office slow.fods) 2>/dev/null & sleep 2
            caller=$(pgrep -f '^docker exec navo1 .*slow'); kill -$signal $caller; await gone $caller
            front() { pgrep -f '^[^ ]*/tools/soffice'; }
            no_front() { ! front; }; await no_front; await gone $before; next_is_good)sh");
        EXPECT_THAT(said, Says(0, "")) << signal;
    }
}

TEST_F(EngineWarm, ServesSeveralAtOnce) {
    const Said said = Warm(R"sh(
        for i in 1 2 3 4 5; do
            document text $i.fodt "Document $i"; office $i.fodt >/dev/null 2>&1 &
        done; wait $(jobs -p)
        for i in 1 2 3 4 5; do pdftotext $T/$i.pdf - | head -1; done; rm $T/*; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "Document 1\nDocument 2\nDocument 3\nDocument 4\nDocument 5\n"));
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
        docker start navo1; pgrep -x office-keeper | wc -l
        docker status | sed 's/[0-9]*$//'; docker status navo1 | sed 's/[0-9]*$//')sh");
    EXPECT_THAT(said, Says(0, "1\nnavo1 warm \nnavo1 warm \n"));
}

TEST_F(EngineWarm, LeavesNothingWhenItIsStopped) {
    const Said said = Warm(R"sh(
        await is_warm
        group=$(grep -o '/[^:]*vellumo-engine-.*' /proc/$(office_process)/cgroup | head -1)
        docker stop navo1; echo $?; docker status navo1; list_office; ls -A $above
        [ -z "$group" ] || find /sys/fs/cgroup -path "*$group" 2>/dev/null
        docker stop navo1; echo $?)sh");
    EXPECT_THAT(said, Says(0, "0\nnavo1 cold\nsource\ntarget\n0\n"));
}

TEST_F(EngineWarm, LeavesToAColdOneWhatItWasStoppedIn) {
    const Said said = Warm(R"sh(
        await is_warm; document long long.fodt 300
        office long.fodt >$log 2>&1 & call=$!
        working() { [ -e $rooms/vellumo-room-*/in/long.fodt ]; }
        await working; sleep 0.4; docker stop navo1; wait $call; echo $?
        grep -c writer_pdf_Export $log; [ $(pages long.pdf) -gt 200 ] || echo not whole
        ls -A $above)sh");
    EXPECT_THAT(said, Says(0, "0\n1\nsource\ntarget\n"));
}

TEST_F(EngineWarm, LeavesNoProcessWhenItIsKilledAndIsSweptUpAfterByTheNext) {
    const Said said = Warm(R"sh(
        await is_warm; kill -KILL $(docker status navo1 | cut -d' ' -f3)
        all_ended() { [ -z "$(list_office)" ]; }
        await all_ended; docker status navo1; ls -A $above | grep -c warm
        touch $rooms/leftover; document text a.fodt a; office a.fodt >$log 2>&1; echo $?
        docker start navo1; ls $rooms | grep -c leftover; rm $T/*; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "navo1 cold\n1\n0\n0\n"));
}

TEST_F(EngineWarm, EndsWhenItsPlaceIsRemovedAndLeavesTheNextOneAlone) {
    const Said said = Warm(R"sh(
        await is_warm; first=$(docker status navo1 | cut -d' ' -f3)
        rm -rf $above/.warm-navo1; docker status navo1; docker start navo1; echo $?
        await gone $first; pgrep -x office-keeper | wc -l
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
        await is_warm; document text other.fodt other; await office_process
        office=$(office_process); nobody=$(stat -c %g $rooms)
        for fact in CapEff NoNewPrivs Seccomp; do grep $fact: /proc/$office/status; done
        [ $(awk '/^Uid/ {print $2}' /proc/$office/status) = $nobody ] || echo not nobody
        grep -o '^ *[a-z0-9]*:' /proc/$office/net/dev
        (cd /proc/$office/root && ls -A Vellumo/@tmp volume1/docker/@tmp/Vellumo/@tmp)
        [ "$(readlink /proc/$office/ns/pid)" = "$(readlink /proc/self/ns/pid)" ] && echo one pid)sh");
    EXPECT_EQ(said.text,
              "CapEff:\t0000000000000000\nNoNewPrivs:\t1\nSeccomp:\t2\n    lo:\n"
              "Vellumo/@tmp:\n\nvolume1/docker/@tmp/Vellumo/@tmp:\n.warm-navo1\n");
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
        mount --bind /usr/bin/false $(readlink -f /usr/bin/python3) || exit 77
        docker start navo1; echo $?; docker status navo1
        office a.fodt >$log 2>&1; echo $?; ls -A $above)sh");
    EXPECT_THAT(said,
                Says(0,
                     "vellumo-engine: no office can be kept warm; install libreoffice-writer, "
                     "-calc, -impress and python3-uno. Until then each document gets an office of "
                     "its own\n125\nnavo1 cold\n0\nsource\ntarget\n"));
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
