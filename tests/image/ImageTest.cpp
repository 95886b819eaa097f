// SPDX-License-Identifier: Apache-2.0
// The whole road through real containers, and what is there for it.
#include "Container.h"

namespace vellumo::test {
namespace {

using testing::EndsWith;

class Image : public ContainerTest {};

TEST_F(Image, ConvertsASampleOfEachFamilyToPdfAndThumbnail) {
    Start();
    // Two, since the first never takes thumbnails.
    const Said said = Do(R"sh(
        run ${container}b
        trap "docker rm -f ${container}b >/dev/null" EXIT
        in_view '
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
        cut_page x.pdf a.pdf; pdfinfo $T/x.pdf | grep Pages:
        render x.jpg a.pdf; render x.png a.pdf
        for picture in $T/x.jpg $T/x-0.png; do
            /usr/bin/identify -format '%m %wx%h %[fx:mean>0.8&&mean<1]\n' $picture
        done 2>/dev/null
        tool ebook-convert $source/b.epub $target/b.pdf --margin-bottom 20 --margin-left 20 \
            --margin-right 20 --margin-top 20 >/dev/null 2>&1
        pdftotext $T/b.pdf - | head -1
        tool ebook-meta --get-cover=$target/b.jpg $source/b.epub >/dev/null 2>&1
        /usr/bin/identify -format '%m\n' $T/b.jpg
        docker exec $container ls -A /tmp/vellumo-rooms)sh");
    EXPECT_THAT(said.text, testing::StartsWith("Pages:           1\n"));
    EXPECT_THAT(said.text, EndsWith("PNG 70x140 1\nHello chapter 0\nJPEG\n"));
}

TEST_F(Image, RefusesWhatIsNoDocument) {
    Start();
    const Said said = Do(R"sh(
        : >$S/empty.pdf; echo '/x (y) def showpage' >$S/ps.pdf
        cut_page x.pdf empty.pdf; echo $?; cut_page x.pdf ps.pdf; echo $?; render x.png ps.pdf; echo $?
        tool ebook-convert $source/no.epub $target/x.pdf; echo $?; ls $T)sh");
    EXPECT_THAT(
        said,
        Says(0,
             R"(pdftk: /Vellumo/@tmp/source/empty.pdf: is empty, so there is nothing to convert
1
pdftk: /Vellumo/@tmp/source/ps.pdf: is no PDF in spite of its name; give it the name of what it is
1
convert: /Vellumo/@tmp/source/ps.pdf: is no PDF in spite of its name; give it the name of what it is
1
ebook-convert: /Vellumo/@tmp/source/no.epub: No such file or directory
1
)"));
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
