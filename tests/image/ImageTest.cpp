// SPDX-License-Identifier: Apache-2.0
// The whole road through real containers, and what a document and a tool cannot do there.
#include "Container.h"

namespace vellumo::test {
namespace {

using testing::EndsWith;

class Image : public ContainerTest {};

TEST_F(Image, ConvertsASampleOfEachFamilyToPdfAndThumbnail) {
    Start();
    // Two, since the first never takes thumbnails.
    const Said said = Do(VELLUMO_RUN R"sh( --scratch $scratch ${container}b >/dev/null
        trap "docker rm -f ${container}b >/dev/null" EXIT
        cp --reflink=auto "$(type -P docker)" $folder/docker
        vellumo=)sh" VELLUMO_TOOL R"sh( samples=)sh" VELLUMO_SAMPLES R"sh(
        export vellumo samples folder container
        $device --root $folder/root --engine $folder/docker --log none -- bash -c '
            $vellumo pool add $container ${container}b >/dev/null
            for path in $samples/*.{docx,odt,xlsx,ods,odp,pptx,odg,epub,pdf}; do
                name=${path##*/} stem=${path##*/}; stem=${stem%.*}
                cp $path /volume1/docs/; chown 12345 /volume1/docs/$name
                chmod 600 /volume1/docs/$name
                for product in pdf thumbnail; do
                    $vellumo $product -o $folder/$name.$product /docs/$name >$folder/log 2>&1 ||
                        { echo "$name, $product: status $?"; cat $folder/log; }
                done
                pdftotext $folder/$name.pdf - | grep -q "[A-Za-z]" || echo "$name: no words"
                identify -format "$stem %m %[fx:standard_deviation>0.01]\n" $folder/$name.thumbnail
            done
            ls /volume1/docker/@tmp/Vellumo/@tmp/*')sh");
    EXPECT_THAT(said, Says(0,
                           "letter PNG 1\nreport PNG 1\nbudget PNG 1\ninventory PNG 1\n"
                           "slides PNG 1\npitch PNG 1\nfloorplan PNG 1\nbook PNG 1\n"
                           "brochure PNG 1\n/volume1/docker/@tmp/Vellumo/@tmp/source:\n\n"
                           "/volume1/docker/@tmp/Vellumo/@tmp/target:\n"));
}

TEST_F(Image, RunsEachToolAsTheCoreHasItRun) {
    Start();
    const Said said = Do(R"sh(
        document pdf a.pdf 3; document book b.epub 1
        cut x.pdf a.pdf; pdfinfo $T/x.pdf | grep Pages:
        render x.jpg a.pdf; render x.png a.pdf
        for picture in $T/x.jpg $T/x-0.png; do
            /usr/bin/identify -format '%m %wx%h %[fx:mean>0.8&&mean<1]\n' $picture
        done 2>/dev/null
        tool ebook-convert $source/b.epub $target/b.pdf --margin-bottom 20 --margin-left 20 \
            --margin-right 20 --margin-top 20 >/dev/null 2>&1
        pdftotext $T/b.pdf - | head -1
        tool ebook-meta --get-cover=$target/b.jpg $source/b.epub >/dev/null 2>&1
        /usr/bin/identify -format '%m\n' $T/b.jpg
        docker exec $container ls -A /tmp | grep room)sh");
    EXPECT_THAT(said.text, testing::StartsWith("Pages:           1\n"));
    EXPECT_THAT(said.text, EndsWith("PNG 70x140 1\nHello chapter 0\nJPEG\n"));
}

TEST_F(Image, RefusesWhatIsNoDocument) {
    Start();
    const Said said = Do(R"sh(
        : >$S/empty.docx; : >$S/empty.pdf; echo '/x (y) def showpage' >$S/ps.pdf
        ln -s /etc/passwd $S/link.docx; mkfifo $S/pipe.docx; mkdir $S/room.docx
        for name in empty link pipe room no; do office $name.docx; echo $?; done
        unoconv x.pdf $source/empty.docx; echo $?
        cut x.pdf empty.pdf; echo $?; cut x.pdf ps.pdf; echo $?; render x.png ps.pdf; echo $?
        tool ebook-convert $source/empty.epub $target/x.pdf; echo $?; ls $T)sh");
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
pdftk: /Vellumo/@tmp/source/empty.pdf: is empty, so there is nothing to convert
1
pdftk: /Vellumo/@tmp/source/ps.pdf: is no PDF in spite of its name; give it the name of what it is
1
convert: /Vellumo/@tmp/source/ps.pdf: is no PDF in spite of its name; give it the name of what it is
1
ebook-convert: /Vellumo/@tmp/source/empty.epub: No such file or directory
1
)"));
}

TEST_F(Image, LeavesOutWhatADocumentOnlyRefersTo) {
    Start();
    // A stock office, run as root, takes in the other user's picture; so the documents do refer.
    const Said said = Do(R"sh(
        /usr/bin/convert -size 40x40 xc:red $S/other.png; echo 'private text' >$S/other.txt
        chown 54321 $S/other.*; chmod 600 $S/other.*
        urls="file://$source/other.png file://$source/other.txt file:///etc/passwd file:///dev/zero"
        document links a.fodt mine $urls http://127.0.0.1:1/x.png
        document odt b.odt mine file://$source/other.png
        document docx c.docx mine file://$source/other.png
        document html d.docx mine $urls; document html e.odt mine $urls
        taken() { pdfimages -list $T/$1.pdf | tail -n +3 | wc -l; pdftotext $T/$1.pdf - | grep -o '[a-z]*'; }
        for name in b.odt c.docx; do
            tool /usr/bin/soffice --headless --convert-to pdf --outdir $target $source/$name
        done >/dev/null 2>&1
        echo stock $(taken b) $(taken c); rm $T/*
        for socket in /run/vellumo/office /none; do
            for name in a.fodt b.odt c.docx d.docx e.odt; do
                tool() { docker exec -e VELLUMO_OFFICE_SOCKET=$socket $container timeout 60 "$@"; }
                office $name >/dev/null 2>&1; echo $name $(taken ${name%.*})
                unoconv ${name%.*}.pdf $source/$name >/dev/null 2>&1
                [ "$(taken ${name%.*})" = "$(printf '0\nmine')" ] || echo "$name by unoconv"
            done
        done)sh");
    const std::string nothing =
        "a.fodt 0 mine\nb.odt 0 mine\nc.docx 0 mine\nd.docx 0 mine\ne.odt 0 mine\n";
    EXPECT_THAT(said, Says(0, "stock 1 mine 1 mine\n" + nothing + nothing));
}

TEST_F(Image, AsksNothingOfTheNetwork) {
    Start();
    const Said said = Do(R"sh(
        docker exec -d $container python3 -c '
import socket
server = socket.create_server(("127.0.0.1", 8000))
while True:
    server.accept()[0].close()
    open("/tmp/asked", "a").write("x")'
        sleep 0.5
        document docx a.docx mine http://127.0.0.1:8000/x.png
        document html b.docx mine http://127.0.0.1:8000/x.png
        asked() { docker exec $container sh -c 'wc -c 2>/dev/null </tmp/asked || echo 0'; }
        office a.docx; office b.docx; unoconv x.pdf $source/a.docx; echo ours $(asked)
        tool /usr/bin/soffice --headless --convert-to pdf --outdir $target $source/a.docx >/dev/null 2>&1
        [ $(asked) -gt 0 ] && echo stock asks
        docker exec $container cat /proc/net/dev | tail -n +3 | grep -v lo:)sh");
    EXPECT_THAT(said.text, testing::StrEq("ours 0\nstock asks\n"));
}

TEST_F(Image, RunsNoMacro) {
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

TEST_F(Image, ShowsAToolItsOwnDocumentOnly) {
    Start();
    // A tool that looks around: what stands behind pdftk's name for once.
    const Said said = Do(R"sh(
        docker rm -f $container >/dev/null
        printf '#!/bin/sh\nid -u; id -G; grep -i capeff /proc/self/status
            cat "${1#A=}" >/dev/null && echo own; cat /Vellumo/@tmp/source/b.pdf || echo denied
            echo x >"${1#A=}"; rm -f "${1#A=}"; echo x >/tmp/../usr/x; ls /tmp/vellumo-office-*
            kill -0 1; : >/Vellumo/@tmp/target/x\n' >$folder/pdftk
        chmod 755 $folder/pdftk
        )sh" VELLUMO_RUN R"sh( --scratch $scratch $container \
            -v $folder/pdftk:/opt/vellumo/bin/pdftk:ro >/dev/null
        document pdf a.pdf 1; document pdf b.pdf 1; cut x.pdf a.pdf 2>$folder/errors
        grep -c -i -e denied -e permitted -e read-only $folder/errors; ls -A $T)sh");
    EXPECT_THAT(said, Says(0, "65533\n65533\nCapEff:\t0000000000000000\nown\ndenied\n7\n"));
}

TEST_F(Image, LetsNotEvenItsRootWriteASource) {
    Start();
    EXPECT_THAT(
        Do("document text a.fodt a; docker exec $container sh -c \"echo x >$source/a.fodt\" "
           "2>/dev/null || echo no; docker exec $container rm -f $source/a.fodt 2>/dev/null "
           "|| echo no; docker exec $container touch /x 2>/dev/null || echo no"),
        Says(0, "no\nno\nno\n"));
}

TEST_F(Image, HasFontsForTheWorldsScripts) {
    Start();
    const Said said = Do(R"sh(
        for language in ar he hi bn ta th zh-cn ja ko el ru hy ka am; do
            [ -n "$(docker exec $container fc-list :lang=$language | head -1)" ] || echo $language
        done
        for font in Calibri Cambria Arial 'Times New Roman' 'Courier New'; do
            docker exec $container fc-match "$font" family
        done; docker exec $container fc-match emoji family)sh");
    EXPECT_THAT(said, Says(0,
                           "Carlito\nCaladea\nLiberation Sans\nLiberation Serif\n"
                           "Liberation Mono\nNoto Color Emoji\n"));
}

}  // namespace
}  // namespace vellumo::test
