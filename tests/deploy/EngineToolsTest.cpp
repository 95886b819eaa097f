// SPDX-License-Identifier: Apache-2.0
// The converters' tools, run by the engine exactly as the core has them run.
#include "OfficeScript.h"
#include "Shell.h"

namespace vellumo::test {
namespace {

class EngineTools : public ShellTest {
protected:
    // Runs `script` in a view. The tools' command lines are functions that take what differs.
    Said Convert(const std::string& script) const {
        return InView("make=" VELLUMO_MAKE_DOCUMENT + std::string(kOfficeScript) + kTools + script);
    }

private:
    static constexpr const char* kTools = R"sh(
        log=$folder/log
        # A stock office looks for its profile in the home directory of its user's account.
        profile=-env:UserInstallation=file:///tmp/home/.config/libreoffice/4
        stock_office() {
            tool /usr/bin/soffice $profile --headless --convert-to pdf --outdir $target/ $source/$1
        }
        cut() { tool pdftk A=$source/$1 cat $2 output $target/$3; }
        render() {
            tool convert -define pdf:use-cropbox=true -density 72 -resize 35% \
                $source/$1 $target/$2 >>$log 2>&1
        }
        )sh";
};

TEST_F(EngineTools, OfficeTurnsATextIntoAPdf) {
    SKIP_WITHOUT("soffice", "pdftotext");
    EXPECT_THAT(Convert("document text a.fodt 'Hello office'; office a.fodt >$log 2>&1; echo $?; "
                        "ls -A $T; pdftotext $T/a.pdf - | head -1"),
                Says(0, "0\na.pdf\nHello office\n"));
}

TEST_F(EngineTools, OfficeFailsOnADocumentThatItCannotLoad) {
    SKIP_WITHOUT("soffice");
    EXPECT_THAT(Convert("printf 'PK\\3\\4junk' >$S/a.docx; office a.docx >$log 2>&1; echo $?; "
                        "ls -A $T; tail -1 $log"),
                Says(0, "1\nsoffice: /Vellumo/@tmp/source/a.docx could not be converted\n"));
}

TEST_F(EngineTools, UnoconvTurnsATextIntoAPdf) {
    SKIP_WITHOUT("soffice", "pdftotext");
    EXPECT_THAT(Convert("document text a.fodt 'Hello unoconv'; unoconv x.pdf $source/a.fodt; "
                        "echo $?; ls -A $T; pdftotext $T/x.pdf - | head -1"),
                Says(0, "0\nx.pdf\nHello unoconv\n"));
}

TEST_F(EngineTools, UnoconvFitsASheetToThePagesWidth) {
    SKIP_WITHOUT("soffice", "pdfinfo", "pdftotext");
    EXPECT_THAT(Convert("document sheet a.fods 40; unoconv wide.pdf $source/a.fods; "
                        "unoconv fit.pdf --spreadsheet-fitpage=x $source/a.fods; "
                        "[ $(pages wide.pdf) -gt 1 ] && echo several; pages fit.pdf; "
                        "pdftotext $T/fit.pdf - | grep -o column40"),
                Says(0, "several\n1\ncolumn40\n"));
}

TEST_F(EngineTools, UnoconvExportsAPageRange) {
    SKIP_WITHOUT("soffice", "pdfinfo", "pdftotext");
    EXPECT_THAT(Convert("document sheet a.fods 40; unoconv x.pdf -e PageRange=2-3 $source/a.fods; "
                        "pages x.pdf; pdftotext $T/x.pdf - | grep -x column1 || echo no column1"),
                Says(0, "2\nno column1\n"));
}

TEST_F(EngineTools, UnoconvTellsADocumentThatItCannotLoad) {
    SKIP_WITHOUT("soffice");
    EXPECT_THAT(
        Convert("printf 'PK\\3\\4junk' >$S/a.docx; unoconv x.pdf $source/a.docx; echo $?; ls $T"),
        Says(0, "unoconv: /Vellumo/@tmp/source/a.docx could not be loaded\n5\n"));
}

TEST_F(EngineTools, UnoconvRefusesOtherUses) {
    SKIP_WITHOUT("soffice");
    EXPECT_EQ(Convert("document text a.fodt x; unoconv x.pdf --listener $source/a.fodt").status, 2);
}

TEST_F(EngineTools, PdftkCutsAPageOut) {
    SKIP_WITHOUT("pdftk", "pdfinfo");
    EXPECT_THAT(Convert("document pdf a.pdf 3; cut a.pdf A1-1 x.pdf; pages x.pdf"), Says(0, "1\n"));
}

TEST_F(EngineTools, PdftkTakesAllPagesWithoutARange) {
    SKIP_WITHOUT("pdftk", "pdfinfo");
    EXPECT_THAT(Convert("document pdf a.pdf 3; cut a.pdf A x.pdf; pages x.pdf"), Says(0, "3\n"));
}

TEST_F(EngineTools, ConvertRendersAPageAsAPicture) {
    SKIP_WITHOUT("convert", "gs", "identify");
    // Black on white, whatever the format.
    EXPECT_THAT(Convert("document pdf a.pdf 1; render a.pdf x.jpg; render a.pdf x.png; "
                        "for picture in $T/x.*; do "
                        "  identify -format '%m %wx%h %[fx:mean>0.8&&mean<1]\\n' $picture; done"),
                Says(0, "JPEG 70x140 1\nPNG 70x140 1\n"));
}

TEST_F(EngineTools, ConvertKeepsOfWhatAPictureCarriesItsColourProfileAlone) {
    SKIP_WITHOUT("convert", "gs", "identify");
    EXPECT_THAT(Convert("profile=/usr/share/color/icc/ghostscript/a98.icc; "
                        "/usr/bin/convert -size 40x40 xc:red -set comment note -profile $profile "
                        "  $S/a.jpg; identify -format '%[profile:icc], %c\n' $S/a.jpg; "
                        "render a.jpg x.png; identify -format '%[profile:icc], %c\n' $T/x.png"),
                Says(0,
                     "Artifex Software A98 ICC Profile , note\n"
                     "Artifex Software A98 ICC Profile , \n"));
}

TEST_F(EngineTools, ConvertReadsNothingButPdf) {
    SKIP_WITHOUT("convert");
    const Said said = Convert(R"sh(
        echo '<svg xmlns="http://www.w3.org/2000/svg" width="9" height="9"/>' >$S/a.svg
        echo '%!PS showpage' >$S/a.ps; echo label >$S/a.txt
        for name in a.svg a.ps a.txt; do render $name x.png && echo $name; done
        grep -c -e 'not allowed' -e 'no decode delegate' $log; ls $T)sh");
    EXPECT_THAT(said, Says(0, "3\n"));
}

TEST_F(EngineTools, EbookConvertTurnsABookIntoAPdf) {
    SKIP_WITHOUT("ebook-convert", "pdftotext");
    EXPECT_THAT(Convert("document book a.epub 1; tool ebook-convert $source/a.epub $target/x.pdf "
                        "  --margin-bottom 20 --margin-left 20 --margin-right 20 --margin-top 20 "
                        "  >$log 2>&1; echo $?; pdftotext $T/x.pdf - | head -1"),
                Says(0, "0\nHello chapter 0\n"));
}

TEST_F(EngineTools, EbookConvertDoesNotWaitASecondForEachFile) {
    SKIP_WITHOUT("ebook-convert", "pdfinfo");
    // By itself it takes one of these chapters a second and processor, whatever its start takes.
    const Said said = Convert(R"sh(
        took() {
            local began=$(now); document book $1.epub $1
            tool ebook-convert $source/$1.epub $target/$1.pdf >$log 2>&1
            [ $(pages $1.pdf) = $1 ] || echo "pages of $1" >&2; echo $(($(now) - began))
        }
        one=$(took 1) many=$(took $((13 * $(nproc))))
        [ $((many - one)) -lt 12000 ] || echo "$many ms, of one chapter $one ms")sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(EngineTools, EbookMetaGetsACover) {
    SKIP_WITHOUT("ebook-meta", "identify");
    EXPECT_THAT(Convert("document book a.epub 1; "
                        "tool ebook-meta --get-cover=$target/x.jpg $source/a.epub >$log 2>&1; "
                        "identify -format '%m\\n' $T/x.jpg"),
                Says(0, "JPEG\n"));
}

TEST_F(EngineTools, OfficeLeavesOutWhatADocumentOnlyRefersTo) {
    SKIP_WITHOUT("soffice", "pdfimages");
    // This picture lies in the sandbox, so that only the office's own settings keep it out.
    const std::string make = R"sh(
        picture=$(find /usr/share -name '*.png' -size -20k 2>/dev/null | head -1)
        [ -n "$picture" ] || exit 99
        document links a.fodt mine file://$picture
        pictures() { pdfimages -list $T/$1 | tail -n +3 | wc -l; })sh";
    const Said stock = Convert(make + "\nstock_office a.fodt >$log 2>&1; pictures a.pdf");
    if (stock.status == 99) {
        GTEST_SKIP() << "there is no picture below /usr/share";
    }
    ASSERT_THAT(stock.text, testing::Not(testing::StrEq("0\n")))
        << "the stock office leaves it out too";
    EXPECT_THAT(Convert(make + "\noffice a.fodt >$log 2>&1; pictures a.pdf"), Says(0, "0\n"));
    EXPECT_THAT(Convert(make + "\nunoconv x.pdf $source/a.fodt; pictures x.pdf"), Says(0, "0\n"));
}

TEST_F(EngineTools, ADocumentCannotTakeInAnotherUsersFile) {
    SKIP_WITHOUT("soffice", "pdftotext", "pdfimages", "convert");
    // Even with the stock office: the others' documents are not there.
    const Said said = Convert(R"sh(
        convert -size 40x40 xc:red $S/other.png; echo 'private text' >$S/other.txt
        document links a.fodt mine file://$source/other.png file://$source/other.txt \
            file:///etc/shadow file://$S/other.txt
        stock_office a.fodt >$log 2>&1
        pdfimages -list $T/a.pdf | tail -n +3; pdftotext $T/a.pdf - | grep '[a-z]')sh");
    EXPECT_THAT(said, Says(0, "mine\n"));
}

TEST_F(EngineTools, OfficeDoesNotTryItsGraphicsFirst) {
    SKIP_WITHOUT("soffice");
    // It does, for most of a start's time, with a profile that is of no version or an older one.
    const auto lookAfter = [this](const std::string& office) {
        return Convert(
            "document text a.fodt x; tool sh -c '" + office +
            " --headless --convert-to pdf --outdir /tmp/ $0 >/dev/null 2>&1; ls /tmp/*.pdf; "
            "cd ~/.config/libreoffice/4/user; ls GraphicsRenderTests.log 2>/dev/null; true' "
            "$source/a.fodt $profile");
    };
    ASSERT_THAT(lookAfter("/usr/bin/soffice $1"), Says(0, "/tmp/a.pdf\nGraphicsRenderTests.log\n"));
    EXPECT_THAT(lookAfter("soffice"), Says(0, "/tmp/a.pdf\n"));
}

// Opens a document with a macro after `prepare` and tells whether the macro ran within so many
// twentieths of a second.
std::string OpenWithMacro(const std::string& prepare, const std::string& looks) {
    return R"sh(
        document macro a.fodt /tmp/ran
        tool sh -c ')sh" +
           prepare + R"sh(
            /usr/bin/soffice $1 --headless "$0" >/dev/null 2>&1 &
            for i in $(seq )sh" +
           looks + R"sh(); do [ ! -e /tmp/ran ] || exit 0; sleep 0.05; done; exit 1
        ' $source/a.fodt $profile && echo ran || echo not)sh";
}

TEST_F(EngineTools, OfficeRunsNoMacro) {
    SKIP_WITHOUT("soffice");
    const std::string ours = "/opt/vellumo/bin/office-profile";
    const std::string trusting = ours +
                                 "; sed -i \"s/>3</>0</; /DisableMacrosExecution/d\" "
                                 "~/.config/libreoffice/4/user/registrymodifications.xcu";
    ASSERT_THAT(Convert(OpenWithMacro(trusting, "600")), Says(0, "ran\n"))
        << "the macro does nothing";
    EXPECT_THAT(Convert(OpenWithMacro(ours, "150")), Says(0, "not\n"));
}

TEST_F(EngineTools, AKilledOfficeDoesNotStandInTheWayOfTheNext) {
    SKIP_WITHOUT("soffice", "pdftotext");
    const Said said = Convert(R"sh(
        document text a.fodt again
        for after in 0.2 0.3 0.4 0.6; do
            docker exec navo1 timeout --kill-after=1 $after soffice --headless --convert-to pdf \
                --outdir $target/ $source/a.fodt >$log 2>&1
        done
        ls -A $T | grep -v -x a.pdf; office a.fodt >$log 2>&1; echo $?
        pdftotext $T/a.pdf - | head -1)sh");
    EXPECT_THAT(said, Says(0, "0\nagain\n"));
}

}  // namespace
}  // namespace vellumo::test
