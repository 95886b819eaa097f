// SPDX-License-Identifier: Apache-2.0
// What a document and a tool cannot reach from a container. A tool as it comes, run as the
// container's root, shows each time that there would be something to reach; where even that one
// does not, the test says so.
#include "Container.h"

namespace vellumo::test {
namespace {

class Leak : public ContainerTest {};

constexpr const char* kOutside = R"sh(
listen() {
    docker exec -d $container sh -c 'cd /run && exec python3 -u -m http.server 8000 >/run/asked 2>&1'
    await docker exec $container grep -q Serving /run/asked
}
asked() { docker exec $container grep -o ' /[a-z]* ' /run/asked | sort -u | tr -d '\n'; }
stock() { tool /usr/bin/soffice --headless --convert-to pdf --outdir $target $source/$1 >/dev/null 2>&1; }
)sh";

TEST_F(Leak, NothingThatADocumentOnlyRefersTo) {
    Start();
    // Of another user, in the same directory and by a link; of the system; a device. Whatever a
    // stock office is given, it takes in no text, no object and no cell from elsewhere: those kinds
    // are here in case another one does.
    const Said said = Do(kOutside + std::string(R"sh(
        /usr/bin/convert -size 40x40 xc:red $S/other.png; echo 'private text' >$S/other.txt
        $make text $S/other.fodt 'private text'
        chown 54321 $S/other.*; chmod 600 $S/other.*; ln -s other.png $S/link.png
        at=file://$source
        texts="$at/other.txt $at/other.fodt file:///etc/passwd file:///dev/zero"
        document links a.fodt mine $at/other.png $texts
        document odt b.odt mine $at/link.png $texts
        document docx c.docx mine $at/other.png
        document html d.docx mine $at/other.png
        document objects e.fodt mine $at/other.fodt $at/other.txt
        document cells f.fods $texts; document xlsx g.xlsx $texts
        taken() {
            pdftotext $T/$1.pdf - | grep -o -m1 -e mine -e private -e root: | sort -u
            case $1 in [abcd]) pdfimages -list $T/$1.pdf | tail -n +3 | grep -q . && echo picture ;; esac
            rm $T/$1.pdf
        }
        documents='a.fodt b.odt c.docx d.docx e.fodt f.fods g.xlsx'
        for name in $documents; do stock $name; echo $name $(taken ${name%.*}); done
        check() {
            local said; said=$(taken ${1%.*})
            [ "$said" = mine ] || echo $2 $1: $said
        }
        for way in eval cold; do
            for name in $documents; do
                $way office $name >/dev/null 2>&1; check $name "$way office"
                $way unoconv ${name%.*}.pdf $source/$name >/dev/null 2>&1; check $name "$way unoconv"
            done
        done)sh"));
    EXPECT_THAT(said, Says(0,
                           "a.fodt mine picture\nb.odt mine picture\nc.docx mine picture\n"
                           "d.docx mine picture\ne.fodt mine\nf.fods mine\ng.xlsx mine\n"));
}

TEST_F(Leak, NothingToTheNetwork) {
    Start();
    // Cells and e-books do not ask even as they come.
    const Said said = Do(kOutside + std::string(R"sh(
        listen
        at=http://127.0.0.1:8000
        document docx a.docx mine $at/docx; document html b.docx mine $at/html
        document links c.fodt mine $at/links; document objects d.fodt mine $at/objects
        document cells e.fods $at/cells; document xlsx f.xlsx $at/xlsx
        document book g.epub 1 $at/book
        for name in a.docx b.docx c.fodt d.fodt e.fods f.xlsx; do
            office $name; unoconv x.pdf $source/$name; cold office $name >/dev/null 2>&1
        done
        tool ebook-convert $source/g.epub $target/g.pdf >/dev/null 2>&1; pdftotext $T/g.pdf - | head -1
        echo ours "$(asked)"
        for name in a.docx b.docx c.fodt d.fodt e.fods f.xlsx; do stock $name; done
        tool /usr/bin/ebook-convert $source/g.epub $target/g.pdf >/dev/null 2>&1
        echo stock "$(asked)"
        docker exec $container cat /proc/net/dev | tail -n +3 | grep -v lo:)sh"));
    EXPECT_THAT(said.text, testing::StrEq("Hello chapter 0\nours \n"
                                          "stock  /docx  /html  /links  /objects \n"));
}

TEST_F(Leak, NothingThroughAMacro) {
    Start();
    const Said said = Do(R"sh(
        document macro a.fodt /tmp/ran
        office a.fodt; unoconv x.pdf $source/a.fodt
        docker exec $container test -e /tmp/ran && echo ran
        trusting='mkdir -p /tmp/home; HOME=/tmp/home /opt/vellumo/bin/office-profile
            sed -i "s/>3</>0</; /DisableMacrosExecution/d" \
                /tmp/home/.config/libreoffice/4/user/registrymodifications.xcu
            HOME=/tmp/home timeout --kill-after=1 8 /usr/bin/soffice --headless $0'
        docker exec $container sh -c "$trusting" $source/a.fodt >/dev/null 2>&1
        docker exec $container test -e /tmp/ran && echo a trusting office runs it)sh");
    EXPECT_THAT(said, Says(0, "a trusting office runs it\n"));
}

TEST_F(Leak, NothingIntoAnEBook) {
    Start();
    // calibre keeps to the book's own files even as it comes.
    const Said said = Do(R"sh(
        /usr/bin/convert -size 40x40 xc:red $S/other.png; echo 'private text' >$S/other.txt
        chown 54321 $S/other.*; chmod 600 $S/other.*
        document book a.epub 1 file://$source/other.png file://$source/other.txt file:///etc/passwd
        for program in /usr/bin/ebook-convert ebook-convert; do
            tool $program $source/a.epub $target/a.pdf >/dev/null 2>&1
            pdftotext $T/a.pdf - | grep -o -e chapter -e private -e root:
            pdfimages -list $T/a.pdf | grep -c ' 40  *40 '
        done)sh");
    EXPECT_THAT(said, Says(1, "chapter\n0\nchapter\n0\n"));
}

TEST_F(Leak, NothingToAPdfThatIsAProgram) {
    Start();
    // PostScript that has a PDF's signature in it; a PDF that wants something started and fetched
    // when it is opened, which nothing here does; pictures in a language that can refer to files.
    const Said said = Do(kOutside + std::string(R"sh(
        echo 'private text' >$S/other.txt; chown 54321 $S/other.txt; chmod 600 $S/other.txt
        printf '%%!PS\n%%%%PDF-1.4\n/Helvetica findfont 12 scalefont setfont 72 72 moveto
            (%s/other.txt) (r) file 100 string readstring pop show showpage\n' $source >$S/a.pdf
        read_it() { tool gs -q $1 -dBATCH -dNOPAUSE -sDEVICE=txtwrite -sOutputFile=- $source/a.pdf 2>/dev/null; }
        read_it -dNOSAFER | grep -o private; read_it -dSAFER | grep -o -m1 invalidfileaccess
        render a.png a.pdf 2>&1 | grep -o -m1 'security policy'; cut_page x.pdf a.pdf 2>/dev/null || echo no
        listen; document active b.pdf /tmp/ran http://127.0.0.1:8000/pdf
        cut_page b1.pdf b.pdf; render b.png b.pdf 2>/dev/null
        docker exec $container ls /tmp/ran 2>&1 | grep -o 'No such'
        asked; echo
        picture='<svg xmlns="http://www.w3.org/2000/svg" xmlns:x="http://www.w3.org/1999/xlink"
            width="40" height="40"><image width="40" height="40" x:href="'$source/other.txt'"/></svg>'
        echo "$picture" >$S/c.pdf; echo "<!-- %PDF- -->$picture" >$S/d.pdf; echo "$picture" >$S/e.png
        for name in c.pdf d.pdf e.png; do render x.png $name 2>/dev/null; echo $?; done
        rm -f $T/b*; ls -A $T)sh"));
    EXPECT_THAT(said, Says(0,
                           "private\ninvalidfileaccess\nsecurity policy\nno\nNo such\n\n"
                           "1\n1\n1\n"));
}

TEST_F(Leak, NothingButItsOwnDocumentToATool) {
    Start();
    // A tool that looks around: what stands behind pdftk's name for once.
    const Said said = Do(R"sh(
        docker rm -f $container >/dev/null
        printf '#!/bin/sh\nid -u; id -G; grep -i capeff /proc/self/status
            cat "${1#A=}" >/dev/null && echo own; cat /Vellumo/@tmp/source/b.pdf || echo denied
            echo x >"${1#A=}"; rm -f "${1#A=}"; echo x >/tmp/../usr/x; ls /tmp/vellumo-office-*
            kill -0 1; : >/Vellumo/@tmp/target/x\n' >$folder/pdftk
        chmod 755 $folder/pdftk
        run $container -v $folder/pdftk:/opt/vellumo/bin/pdftk:ro
        document pdf a.pdf 1; document pdf b.pdf 1; cut_page x.pdf a.pdf 2>$folder/errors
        grep -c -i -e denied -e permitted -e read-only $folder/errors; ls -A $T)sh");
    EXPECT_THAT(
        said,
        testing::Field(
            &Said::text,
            testing::MatchesRegex(
                "1[89][0-9]{8}\n1[89][0-9]{8}\nCapEff:\t0000000000000000\nown\ndenied\n6\n")));
}

TEST_F(Leak, NothingFromElsewhereThroughALink) {
    Start();
    const Said said = Do(R"sh(
        mkdir $S/place $folder/other; chmod 700 $S/place
        $make text $S/place/a.fodt 'private text'; $make text $folder/other/a.fodt 'private text'
        chown -R 54321 $S/place $folder/other; ln -s place $S/link; ln -s $folder/other $S/out
        ln -s place/a.fodt $S/a.fodt; ln -s /etc/hostname $S/b.fodt
        for name in place/a link/a out/a a b ../source/place/a; do
            office $name.fodt >/dev/null 2>&1 && echo $name; unoconv x.pdf $source/$name.fodt 2>/dev/null
        done; ls -A $T
        tool /usr/bin/soffice --headless --convert-to pdf --outdir $target $source/link/a.fodt \
            >/dev/null 2>&1; pdftotext $T/a.pdf - | grep -o private)sh");
    EXPECT_THAT(said, Says(0, "private\n"));
}

TEST_F(Leak, NotEvenItsRootWritesASource) {
    Start();
    // As the core gives it: a hard link to the user's own document.
    const Said said = Do(R"sh(
        $make text $folder/root/volume1/own.fodt mine; ln $folder/root/volume1/own.fodt $S/a.fodt
        before=$(stat -c '%a %u %h %s %Y %Z' $S/a.fodt)
        for attempt in "echo x >$source/a.fodt" "echo x >>$source/a.fodt" "rm -f $source/a.fodt" \
            "mv $source/a.fodt $source/b" "chmod 777 $source/a.fodt" "chown 1 $source/a.fodt" \
            "touch $source/a.fodt" "ln $source/a.fodt $target/b" "touch /x" \
            "mount -o remount,rw /Vellumo/@tmp/source"; do
            docker exec $container sh -c "$attempt" 2>/dev/null && echo "$attempt"
        done
        [ "$(stat -c '%a %u %h %s %Y %Z' $S/a.fodt)" = "$before" ] || echo changed
        docker exec $container sh -c "echo x >$target/b" && echo the target can be written)sh");
    EXPECT_THAT(said, Says(0, "the target can be written\n"));
}

}  // namespace
}  // namespace vellumo::test
