// SPDX-License-Identifier: Apache-2.0
// The warm office in a container: what it answers, and what it survives. A cold office prints what
// it does, so silence tells that the warm one has converted.
#include "Container.h"

namespace vellumo::test {
namespace {

using testing::HasSubstr;

class WarmOffice : public ContainerTest {};

TEST_F(WarmOffice, AnswersAllFormsOfTheOfficesCommands) {
    Start();
    const Said said = Do(R"sh(
        before=$(office_process)
        document text a.fodt 'Hello office'; document sheet b.fods 40
        office a.fodt; unoconv x.pdf $source/a.fodt; unoconv wide.pdf $source/b.fods
        unoconv page.pdf -e PageRange=2-2 $source/b.fods
        unoconv fit.pdf --spreadsheet-fitpage=x $source/b.fods
        unoconv fit1.pdf --spreadsheet-fitpage=x -e PageRange=1-1 $source/b.fods
        for name in a x page fit fit1; do
            echo $name $(pdfinfo $T/$name.pdf | sed -n 's/^Pages: *//p') \
                $(pdftotext $T/$name.pdf - | grep -m1 -i -e hello -e column)
        done
        [ $(pdfinfo $T/wide.pdf | sed -n 's/^Pages: *//p') -gt 1 ] || echo not wide
        stat -c '%a %u' $T/a.pdf)sh");
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.text, testing::ContainsRegex("^a 1 Hello office\nx 1 Hello office\n"
                                                  "page 1 column[0-9]+\nfit 1 column1\n"
                                                  "fit1 1 column1\n644 0\n$"));
}

TEST_F(WarmOffice, MakesTheSameAsAColdOne) {
    Start();
    // Pictures, tables, formulas, shapes: one sample of each kind.
    const Said said = Do(R"sh(
        cp )sh" VELLUMO_SAMPLES R"sh(/*.{docx,odt,xlsx,ods,odp,pptx,odg} $S
        look() { pdftotext -layout $1 -; pdftoppm -r 40 $1 | sha256sum; }
        for path in $S/*; do
            name=${path##*/}; product=${name%.*}.pdf
            for form in office 'unoconv '$product' -e PageRange=1-1 '; do
                case $form in office) call=(office $name) ;; *) call=($form $source/$name) ;; esac
                "${call[@]}" || echo "$form $name failed"
                look $T/$product >$folder/warm; rm $T/$product
                cold "${call[@]}" >/dev/null 2>&1 || echo "$form $name failed cold"
                look $T/$product >$folder/cold
                cmp $folder/warm $folder/cold || echo "$form $name differs"
            done
        done)sh");
    EXPECT_THAT(said, Says(0, ""));
}

// A comment is a window in the margin, even where nobody sees it.
TEST_F(WarmOffice, TurnsATextWithCommentsIntoAPdf) {
    Start();
    const Said said = Do(R"sh(
        document text a.fodt 'Hello<office:annotation><text:p>why</text:p></office:annotation>'
        for socket in /run/vellumo/office /none; do
            tool() { docker exec -e VELLUMO_OFFICE_SOCKET=$socket $container timeout 60 "$@"; }
            office a.fodt >$folder/log 2>&1 || cat $folder/log
            unoconv x.pdf -e PageRange=1-1 $source/a.fodt
            for name in a x; do pdftotext $T/$name.pdf - 2>/dev/null | head -1; done; rm $T/*
        done)sh");
    EXPECT_THAT(said, Says(0, "Hello\nHello\nHello\nHello\n"));
}

// As people do by hand. The engine's starter, which is the parent then, ends at any moment.
TEST_F(WarmOffice, AnswersCommandsWithoutATimeLimit) {
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

TEST_F(WarmOffice, LeavesOtherUsesToAColdOne) {
    Start();
    EXPECT_THAT(Do("tool soffice --version; document text a.fodt a; "
                   "tool unoconv --listener $source/a.fodt 2>/dev/null; echo $?")
                    .text,
                testing::AllOf(HasSubstr("LibreOffice"), testing::EndsWith("2\n")));
}

TEST_F(WarmOffice, FailsAsAColdOneDoes) {
    Start();
    const Said said = Do(R"sh(
        printf 'PK\3\4junk' >$S/a.docx
        office a.docx; echo $?; unoconv x.pdf $source/a.docx; echo $?; ls -A $T; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/source/a.docx: could not be loaded\n1\n"
                           "unoconv: /Vellumo/@tmp/source/a.docx: could not be loaded\n5\n"));
}

TEST_F(WarmOffice, EndsWithItsCallerWhenADocumentHangs) {
    Start();
    const Said said = Do(R"sh(
        document slow slow.fods; before=$(office_process)
        limit=3 office slow.fods; echo $?
        await eval '[ ! -e /proc/'$before' ]'; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "124\n"));
}

TEST_F(WarmOffice, StopsADocumentAtItsDeadline) {
    Start("-e VELLUMO_OFFICE_DEADLINE=2");
    EXPECT_THAT(Do("document slow slow.fods; office slow.fods; echo $?; next_is_good"),
                Says(0, "soffice: /Vellumo/@tmp/source/slow.fods: takes too long\n124\n"));
}

TEST_F(WarmOffice, StopsADocumentThatTakesTooMuchMemory) {
    Start("-e VELLUMO_OFFICE_MEMORY=330");
    const Said said = Do("document long long.fodt 3000; office long.fodt; echo $?; next_is_good");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/source/long.fodt: takes too much memory\n"
                           "137\n"));
}

TEST_F(WarmOffice, IsReplacedWhenItIsSickBeforeADocument) {
    Start();
    const Said said = Do(R"sh(
        for signal in STOP KILL; do
            for what in soffice.bin office-driver; do
                echo $signal $what; kill -$signal $(process $what); next_is_good
            done
        done)sh");
    EXPECT_THAT(said, Says(0,
                           "STOP soffice.bin\nSTOP office-driver\n"
                           "KILL soffice.bin\nKILL office-driver\n"));
}

TEST_F(WarmOffice, IsReplacedWhenItFreezesBeforeItIsReady) {
    Start();
    const Said said = Do(R"sh(
        before=$(office_process); kill -KILL $before
        await office_comes; kill -STOP $(office_process); next_is_good)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(WarmOffice, IsFollowedByAColdOneWhenItFailsInTheMiddle) {
    Start();
    const Said said = Do(R"sh(
        document long long.fodt 300
        for what in 'SEGV soffice.bin' 'STOP soffice.bin' 'KILL office-driver' 'KILL office-keeper'; do
            echo $what
            office long.fodt >$folder/said 2>&1 & call=$!
            await works; sleep 0.2; kill -${what% *} $(process ${what#* })
            wait $call || echo status $?
            grep -q writer_pdf_Export $folder/said || echo not by a cold one
            pdftotext $T/long.pdf - | grep -q line || echo no product
            rm $T/long.pdf; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0,
                           "SEGV soffice.bin\nSTOP soffice.bin\nKILL office-driver\n"
                           "KILL office-keeper\n"));
}

TEST_F(WarmOffice, ComesBackWhenItsKeeperIsKilled) {
    Start();
    EXPECT_THAT(Do("kill -KILL $(keeper_process); next_is_good"), Says(0, ""));
}

TEST_F(WarmOffice, IsNotMissedWhenItsKeeperIsFrozen) {
    Start();
    EXPECT_THAT(Do("keeper=$(keeper_process); kill -STOP $keeper; document text a.fodt a; "
                   "office a.fodt >/dev/null 2>&1; echo $?; ls $T; rm $T/*; kill -CONT $keeper; "
                   "next_is_good"),
                Says(0, "0\na.pdf\n"));
}

TEST_F(WarmOffice, ServesSeveralAtOnce) {
    Start();
    // Two; then more than may queue at its socket, which are some ten.
    const Said said = Do(R"sh(
        for number in 2 14; do
            for ((i = 1; i <= number; ++i)); do document text $i.fodt "Document $i"; done
            for ((i = 1; i <= number; ++i)); do office $i.fodt >$folder/said.$i 2>&1 & done; wait
            for ((i = 1; i <= number; ++i)); do
                pdftotext $T/$i.pdf - | grep -qx "Document $i" || { echo $i; cat $folder/said.$i; }
            done; rm $T/*; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(WarmOffice, IsNotKeptByCallersThatSayNothing) {
    Start();
    // They fill its queue; whoever finds that full does without it.
    const Said said = Do(R"sh(
        docker exec -d $container python3 -c '
import socket, time
held = []
while len(held) < 10:
    held.append(socket.socket(socket.AF_UNIX))
    held[-1].connect("/run/vellumo/office")
open("/tmp/full", "w")
time.sleep(3)'
        await docker exec $container test -e /tmp/full
        document text a.fodt a; office a.fodt >/dev/null 2>&1; echo $?; ls $T; rm $T/*
        await eval '! docker top $container -eo pid,args | grep -q socket'
        docker exec $container rm /tmp/full; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "0\na.pdf\n"));
}

TEST_F(WarmOffice, LeavesNothingOfACallerThatIsKilled) {
    Start();
    for (const char* socket : {"/run/vellumo/office", "/none"}) {
        const Said said = Do("socket=" + std::string(socket) + R"sh(
            document slow slow.fods
            docker exec -e VELLUMO_OFFICE_SOCKET=$socket $container timeout 60 soffice --headless \
                --convert-to pdf --outdir $target/ $source/slow.fods >/dev/null 2>&1 & call=$!
            sleep 2
            kill -KILL $(pgrep -xf "soffice --headless .* $source/slow.fods")
            wait $call; next_is_good)sh");
        EXPECT_THAT(said, Says(0, "")) << socket;
    }
}

TEST_F(WarmOffice, IsFreshForWhoComesAfterAPause) {
    Start();
    const Said said = Do(R"sh(
        document text a.fodt a; office a.fodt; before=$(office_process); office a.fodt
        [ $(office_process) = $before ] || echo replaced too soon
        rm $T/*; await eval '[ ! -e /proc/'$before' ]'; next_is_good)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(WarmOffice, IsReplacedAfterItsNumberOfDocuments) {
    Start("-e VELLUMO_OFFICE_DOCUMENTS=2 -e VELLUMO_OFFICE_IDLE=600");
    const Said said = Do(R"sh(
        document text a.fodt a
        for i in 1 2 3 4 5 6; do office a.fodt; office_process; done | sort | uniq | wc -l)sh");
    EXPECT_THAT(said.text, testing::AnyOf("3\n", "4\n"));
}

TEST_F(WarmOffice, IsWhatTheHealthCheckLooksAt) {
    Start();
    EXPECT_EQ(Do("docker exec $container /opt/vellumo/warm/health").status, 0);
    EXPECT_THAT(Do("docker image inspect -f '{{.Config.Healthcheck.Test}}' vellumo-converters"),
                Says(0, "[CMD /opt/vellumo/warm/health]\n"));
}

}  // namespace
}  // namespace vellumo::test
