// SPDX-License-Identifier: Apache-2.0
// The warm office, wherever it is kept: what it answers, what it survives, what it leaves. A cold
// office prints what it does, so silence tells that the warm one has converted.
#include "WarmOffice.h"

namespace vellumo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST_P(WarmOffice, AnswersAllFormsOfTheOfficesCommands) {
    const Said said = Warm(R"sh(
        document text a.fodt 'Hello office'; document sheet b.fods 40
        without_cold || exit 97
        office a.fodt; unoconv x.pdf $source/a.fodt; unoconv wide.pdf $source/b.fods
        unoconv page.pdf -e PageRange=2-2 $source/b.fods
        unoconv fit.pdf --spreadsheet-fitpage=x $source/b.fods
        unoconv fit1.pdf --spreadsheet-fitpage=x -e PageRange=1-1 $source/b.fods
        for name in a x page fit fit1; do
            echo $name $(pages $name.pdf) $(pdftotext $T/$name.pdf - | grep -m1 -i -e hello -e col)
        done
        [ $(pages wide.pdf) -gt 1 ] || echo not wide
        stat -c '%a %u' $T/a.pdf; ls -A $T | wc -l)sh");
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.text, testing::ContainsRegex("^a 1 Hello office\nx 1 Hello office\n"
                                                  "page 1 column[0-9]+\nfit 1 column1\n"
                                                  "fit1 1 column1\n644 0\n6\n$"));
}

TEST_P(WarmOffice, MakesTheSameAsAColdOne) {
    // Pictures, tables, formulas, shapes: one sample of each kind.
    const Said said = Warm(R"sh(
        cp )sh" VELLUMO_SAMPLES R"sh(/*.{docx,odt,xlsx,ods,odp,pptx,odg} $S
        look() { pdftotext -layout $1 -; pdftoppm -r 40 $1 | sha256sum; rm $1; }
        for path in $S/*; do
            name=${path##*/}; product=${name%.*}.pdf
            for form in office 'unoconv '$product' -e PageRange=1-1 '; do
                case $form in office) call=(office $name) ;; *) call=($form $source/$name) ;; esac
                "${call[@]}" || echo "$form $name failed"
                look $T/$product >$folder/warm
                cold "${call[@]}" >/dev/null 2>&1 || echo "$form $name failed cold"
                look $T/$product >$folder/cold
                cmp $folder/warm $folder/cold || echo "$form $name differs"
            done
        done)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_P(WarmOffice, GivesPage1OfALargePdfNoMoreThanItShows) {
    const Said said = Warm(R"sh(
        needs() { ${make%/*}/../../bench/first-page $1 | sed 's/.*: \([0-9]*\) of.*/\1/'; }
        separated() {
            grep -a -q /ObjStm $T/$1 && [ $(($(needs $T/$1) * 3)) -lt $(stat -c %s $T/$1) ] &&
                echo $1 separated || echo $1 as the office makes it
        }
        same=${make%/*}/same-document
        document pictures large.fodt 6 500; document text small.fodt x
        without_cold || exit 97
        for name in large small; do office $name.fodt; separated $name.pdf; done
        unoconv unoconv.pdf $source/large.fodt; separated unoconv.pdf
        /usr/bin/soffice -env:UserInstallation=file://$folder/profile --headless --convert-to pdf \
            --outdir $folder $S/large.fodt >/dev/null 2>&1
        for name in large unoconv; do $same --anew $folder/large.pdf $T/$name.pdf; done
        [ $(stat -c %s $T/large.pdf) -le $(stat -c %s $folder/large.pdf) ] || echo larger
        ls -A $T | wc -l)sh");
    EXPECT_THAT(said, Says(0,
                           "large.pdf separated\nsmall.pdf as the office makes it\n"
                           "unoconv.pdf separated\nsame: 6 pages outline annotations\n"
                           "same: 6 pages outline annotations\n3\n"));
}

// Prints what a product shows, and removes it.
constexpr const char* kLook = R"sh(
look() { pdftotext $T/$1.pdf -; pdftoppm -r 60 $T/$1.pdf | sha256sum; rm $T/$1.pdf; }
)sh";

TEST_P(WarmOffice, ShowsADocumentInItsOwnFontAndNoOtherDocument) {
    // The font's digits are those of DejaVu Sans in reverse order, so a looks like c. There is no
    // such font for b.
    const Said said = Warm(kLook + std::string(R"sh(
        document embedded a.odt 0123456789 'Vellumo Odd'
        document font b.odt 0123456789 'Vellumo Odd'
        document font c.odt 9876543210 'DejaVu Sans'
        for name in a b c; do cold office $name.odt >/dev/null 2>&1; look $name >$folder/$name; done
        cmp <(tail -1 $folder/a) <(tail -1 $folder/c) || echo 'a cold one does not show the font'
        for name in a b c a a b; do
            office $name.odt; cmp <(look $name) $folder/$name || echo $name
        done; next_is_good)sh"));
    EXPECT_THAT(said, Says(0, ""));
}

TEST_P(WarmOffice, ColoursChangesByTheDocumentsOwnAuthors) {
    // The first author of a document has the first colour, whoever had it in another one.
    const Said said = Warm(kLook + std::string(R"sh(
        document changes a.fodt ann bob; document changes b.fodt bob carl ann
        document changes c.fodt carl bob ann; document changes d.fodt ann ann
        for name in a b c d; do
            cold office $name.fodt >/dev/null 2>&1; look $name >$folder/$name
        done
        cmp -s $folder/a $folder/d && echo 'a cold one gives two authors one colour'
        cmp $folder/b $folder/c
        for name in a b a c d b; do
            office $name.fodt; cmp <(look $name) $folder/$name || echo $name
        done; next_is_good)sh"));
    EXPECT_THAT(said, Says(0, ""));
}

// A comment is a window in the margin, even where nobody sees it.
TEST_P(WarmOffice, TurnsATextWithCommentsIntoAPdf) {
    const Said said = Warm(R"sh(
        document text a.fodt 'Hello<office:annotation><text:p>why</text:p></office:annotation>'
        for way in eval cold; do
            $way office a.fodt >$folder/said 2>&1 || cat $folder/said
            $way unoconv x.pdf -e PageRange=1-1 $source/a.fodt
            for name in a x; do pdftotext $T/$name.pdf - 2>/dev/null | head -1; done; rm $T/*
        done)sh");
    EXPECT_THAT(said, Says(0, "Hello\nHello\nHello\nHello\n"));
}

TEST_P(WarmOffice, LeavesOtherUsesToAColdOne) {
    EXPECT_THAT(Warm("tool soffice --version; document text a.fodt a; "
                     "tool unoconv --listener $source/a.fodt 2>/dev/null; echo $?")
                    .text,
                testing::AllOf(HasSubstr("LibreOffice"), EndsWith("2\n")));
}

TEST_P(WarmOffice, FailsAsAColdOneDoes) {
    const Said said = Warm(R"sh(
        printf 'PK\3\4junk' >$S/a.docx
        office a.docx; echo $?; unoconv x.pdf $source/a.docx; echo $?; ls -A $T; next_is_good)sh");
    EXPECT_THAT(said, Says(0,
                           "soffice: /Vellumo/@tmp/source/a.docx: could not be loaded\n1\n"
                           "unoconv: /Vellumo/@tmp/source/a.docx: could not be loaded\n5\n"));
}

TEST_P(WarmOffice, RefusesADocumentThatIsNone) {
    const Said said = Warm(R"sh(
        : >$S/empty.docx; ln -s /etc/passwd $S/link.docx; mkfifo $S/pipe.docx; mkdir $S/room.docx
        for name in empty link pipe room no; do office $name.docx; echo $?; done
        unoconv x.pdf $source/empty.docx; echo $?; left)sh");
    EXPECT_THAT(
        said,
        Says(0,
             R"(soffice: /Vellumo/@tmp/source/empty.docx: is empty, so there is nothing to convert
1
soffice: /Vellumo/@tmp/source/link.docx: Too many levels of symbolic links
1
soffice: /Vellumo/@tmp/source/pipe.docx: is no regular file; give a document
1
soffice: /Vellumo/@tmp/source/room.docx: is no regular file; give a document
1
soffice: /Vellumo/@tmp/source/no.docx: No such file or directory
1
unoconv: /Vellumo/@tmp/source/empty.docx: is empty, so there is nothing to convert
1
)"));
}

TEST_P(WarmOffice, EndsWithItsCallerWhenADocumentHangs) {
    const Said said = Warm(R"sh(
        document slow slow.fods
        limit=3 office slow.fods & call=$!
        child=$(child_process); wait $call; echo $?
        await gone $child; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "124\n"));
}

// A cold office, which a busy machine's callers go to after a second, has no such limits.
constexpr const char* kPatience = "VELLUMO_OFFICE_WAIT=60000";

TEST_P(WarmOffice, StopsADocumentAtItsDeadline) {
    EXPECT_THAT(Warm("document slow slow.fods; office slow.fods; echo $?; next_is_good",
                     {"VELLUMO_OFFICE_DEADLINE=2", kPatience}),
                Says(0, "soffice: /Vellumo/@tmp/source/slow.fods: takes too long\n124\n"));
}

TEST_P(WarmOffice, StopsADocumentThatTakesTooMuchMemory) {
    EXPECT_THAT(Warm("document long long.fodt 3000; office long.fodt; echo $?; next_is_good",
                     {"VELLUMO_OFFICE_MEMORY=150", kPatience}),
                Says(0,
                     "soffice: /Vellumo/@tmp/source/long.fodt: takes too much memory\n"
                     "137\n"));
}

TEST_P(WarmOffice, StopsADocumentThatTakesTooMuchSpace) {
    EXPECT_THAT(Warm("document long long.fodt 800; office long.fodt; echo $?; next_is_good",
                     {"VELLUMO_OFFICE_SPACE=0.05", kPatience}),
                Says(0,
                     "soffice: /Vellumo/@tmp/source/long.fodt: takes too much space\n"
                     "153\n"));
}

TEST_P(WarmOffice, GoesOnWhenAForkThatWaitsIsSick) {
    const Said said = Warm(R"sh(
        for signal in STOP KILL SEGV; do
            echo $signal; spare=$(spare_process); kill -$signal $spare; next_is_good; await gone $spare
        done)sh");
    EXPECT_THAT(said, Says(0, "STOP\nKILL\nSEGV\n"));
}

TEST_P(WarmOffice, HasAForkForEachDocumentAndKeepsNoneOfThem) {
    const Said said = Warm(R"sh(
        document text a.fodt a; keeper=$(keeper_process)
        for i in 1 2 3 4 5; do spare_process; office a.fodt; done | sort -u | wc -l
        rm $T/*; [ $(keeper_process) = $keeper ] || echo another keeper; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "5\n"));
}

TEST_P(WarmOffice, GivesAForkNoWayButTheConnectionToItsCaller) {
    // No socket to its parent, and no file of the caller's but in the fork's own room.
    const Said said = Warm(R"sh(
        document slow slow.fods
        limit=3 office slow.fods >/dev/null 2>&1 & call=$!
        await works slow.fods; ls -l /proc/$(child_process)/fd >$folder/files
        grep -c 'socket:' $folder/files; grep -c "$S/\|$T/" $folder/files
        wait $call; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "1\n0\n"));
}

TEST_P(WarmOffice, CarriesNothingFromOneDocumentToTheNext) {
    // One that would run a program, one that would show another document, and one whose office ends
    // in the middle and could be recovered.
    const Said said = Warm(R"sh(
        document text other.fodt 'Of somebody else'; document text next.fodt 'Only this'
        document macro macro.fodt /tmp/ran; document long broken.fodt 300
        document links links.fodt 'With links' file://$source/other.fodt
        for name in macro links broken; do
            office $name.fodt >/dev/null 2>&1 & call=$!
            [ $name != broken ] || { await works broken.fodt; kill -KILL $(child_process); }
            wait $call; rm -f $T/*
            office next.fodt; pdftotext $T/next.pdf - | tr -d '\f'; rm $T/*
        done; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "Only this\n\nOnly this\n\nOnly this\n\n"));
}

TEST_P(WarmOffice, IsFollowedByAColdOneWhenItFailsInTheMiddle) {
    const Said said = Warm(R"sh(
        document long long.fodt 300
        for what in 'SEGV child' 'STOP child' 'KILL child' 'KILL keeper'; do
            echo $what
            office long.fodt >$folder/said 2>&1 & call=$!
            await works long.fodt; kill -${what% *} $(${what#* }_process)
            wait $call || echo status $?
            grep -q writer_pdf_Export $folder/said || echo not by a cold one
            pdftotext $T/long.pdf - | grep -q line || echo no product
            rm $T/long.pdf; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, "SEGV child\nSTOP child\nKILL child\nKILL keeper\n"));
}

TEST_P(WarmOffice, LeavesToTheColdOneOnlyTheRestOfTheTime) {
    // A second whole limit would take it to 10 s.
    const Said said = Warm(R"sh(
        document slow slow.fods; began=$(now)
        limit=6 office slow.fods >/dev/null 2>&1 & call=$!
        await works slow.fods; sleep 4; kill -SEGV $(child_process); wait $call; echo $?
        took=$(($(now) - began)); [ $took -lt 9000 ] || echo "took $took ms"; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "124\n"));
}

TEST_P(WarmOffice, ComesBackWhenItsKeeperIsKilled) {
    EXPECT_THAT(Warm("kill -KILL $(keeper_process); next_is_good"), Says(0, ""));
}

TEST_P(WarmOffice, IsNotMissedWhenItsKeeperIsFrozen) {
    const Said said = Warm(R"sh(
        keeper=$(keeper_process); kill -STOP $keeper; document text a.fodt a
        office a.fodt >$folder/said 2>&1; echo $?; ls $T; rm $T/*
        grep -c writer_pdf_Export $folder/said; kill -CONT $keeper; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "0\na.pdf\n1\n"));
}

TEST_P(WarmOffice, ServesSeveralAtOnce) {
    // Two; then more than may queue at its socket, which are some ten.
    const Said said = Warm(R"sh(
        for number in 2 14; do
            for ((i = 1; i <= number; ++i)); do document text $i.fodt "Document $i"; done
            for ((i = 1; i <= number; ++i)); do office $i.fodt >$folder/said.$i 2>&1 & done; wait
            for ((i = 1; i <= number; ++i)); do
                pdftotext $T/$i.pdf - | grep -qx "Document $i" || { echo $i; cat $folder/said.$i; }
            done; rm $T/*; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_P(WarmOffice, IsNotKeptByCallersThatSayNothing) {
    // A few do not matter. When they fill its queue, whoever finds that full does without it.
    const Said said = Warm(R"sh(
        document text a.fodt a
        for number in 20 200; do
            python3 -c '
import socket, sys, time
held = []
try:
    while len(held) < int(sys.argv[3]):
        one = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        one.setblocking(False)
        one.connect(sys.argv[1])
        held.append(one)
except BlockingIOError:
    pass
open(sys.argv[2], "w")
time.sleep(1000)' $(office_socket) $folder/full $number & holder=$!
            await test -e $folder/full; rm $folder/full
            office a.fodt >$folder/said 2>&1; echo $?; ls $T; rm $T/*
            [ $number = 200 ] || ! [ -s $folder/said ] || echo by a cold one
            kill $holder; wait $holder 2>/dev/null; next_is_good
        done)sh");
    EXPECT_THAT(said, Says(0, "0\na.pdf\n0\na.pdf\n"));
}

TEST_P(WarmOffice, LeavesNothingOfACallerThatIsEnded) {
    const Said said = Warm(R"sh(
        for way in eval cold; do
            for signal in TERM KILL; do
                echo $way $signal; document slow slow.fods
                $way office slow.fods >/dev/null 2>&1 & call=$!
                await works slow.fods; end_caller $signal slow.fods; wait $call
                ended() { ! works slow.fods; }; await ended; next_is_good
            done
        done 2>/dev/null)sh");
    EXPECT_THAT(said, Says(0, "eval TERM\neval KILL\ncold TERM\ncold KILL\n"));
}

}  // namespace
}  // namespace vellumo::test
