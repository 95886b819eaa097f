// SPDX-License-Identifier: Apache-2.0
// Each document of the corpus through real containers and through the embedded engine: the same
// outcome and the same product. The machine's fonts are not the image's, so there are two pairs of
// containers: with the machine's fonts there may be no difference but known ones, and with the
// image's own there are those that fonts make.
#include "Container.h"
#include "Corpus.h"
#include "Differences.h"

namespace vellumo::test {
namespace {

// For a machine that has the fonts of scripts/bootstrap and no others.
const char* const kCalibri = "only the image has fonts of Calibri's and Cambria's measures";
const char* const kScripts = "only the image has fonts of the document's script";
const char* const kFallback = "a font that neither has is Noto Sans in the image, else DejaVu Sans";
const char* const kHeights = "fonts that only the image has set the heights of some lines";
const char* const kPrinter = "laid out for a printer, for which each office takes another one";

const std::vector<Difference> kKnown = {
    {"sxw/testStarOffice-6.0-writer.sxw", "pixels, fonts", kPrinter},
    {"docm/45690.docm", "words, image", kHeights},
    {"dotx/2007BusinessCalendar_SatSun_TP10169556.dotx", "words, image", kCalibri},
    {"rtf/testRTFJapanese.rtf", "pages, image", kScripts},
    {"rtf/testRTFJapanese.rtf", "words, image", kScripts},
    {"sxc/testStarOffice-6.0-calc.sxc", "words, image", kScripts},
    {"stc/quick.stc", "words, image", kCalibri},
    {"xlsm/number_format_russian.xlsm", "words, image", kCalibri},
    {"xltm/IntegratedMarketingCampaign DataAnalysis_TP10186504.xltm", "words, image", kCalibri},
    {"xltx/BloodPressureTracker_TP10073878.xltx", "words, image", kFallback},
    {"xlsb/testVarious.xlsb", "words, image", kCalibri},
    {"vsdx/tdf136564-WhiteTextBackground.vsdx", "words, image", kCalibri},
};

class CorpusInBothEngines : public ContainerTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // What the engines make differently of a document.
    std::vector<std::string> Compare(const CorpusFile& document) const;

private:
    Said DoInPlaces(const std::string& script) const;

    // A place is a device view with an engine of its own: embedded, image, and fonts for the image
    // with this machine's fonts.
    static constexpr const char* kPlaces = R"sh(
        export vellumo=)sh" VELLUMO_TOOL R"sh(
        # Offices are not replaced when idle: the time that takes is the other engine's.
        pair() {
            local place=$1 end; shift
            for end in a b; do
                )sh" VELLUMO_RUN R"sh( --scratch $folder/$place/volume1/docker/@tmp/Vellumo/@tmp \
                    $container$place$end -e VELLUMO_OFFICE_IDLE=600 "$@" >/dev/null || exit
            done
            cp "$(type -P docker)" $folder/$place.engine
        }
        view() {
            $device --root $folder/$1 --engine $folder/$1.engine --log none -- "${@:2}"
        }
        convert() {
            export out=$folder/$1.out
            rm -rf $out; mkdir $out
            install -m 600 -o 12345 "$VELLUMO_CORPUS/$file" "$folder/$1/volume1/docs/"
            view $1 bash -c '
                $vellumo pdf --no-cache -o $out/pdf "/docs/${file##*/}" >$out/log 2>&1
                echo "pdf $?" >$out/outcome
                $vellumo thumbnail -o $out/png "/docs/${file##*/}" >>$out/log 2>&1
                echo "thumbnail $?" >>$out/outcome'
            look >/dev/null 2>&1
        }
        look() {
            pdfinfo $out/pdf | grep ^Pages: >$out/pages
            pdftotext -layout $out/pdf - >$out/layout
            pdftotext $out/pdf - | tr -s '[:space:]' '\n' >$out/words
            /usr/bin/identify -format '%wx%h, drawn: %[fx:standard_deviation>0.01]\n' $out/png \
                >$out/thumbnail
            /usr/bin/identify -format '%#\n' $out/png >$out/pixels
        }
        # differ PLACE WHAT…: in what the place differs from the embedded engine.
        differ() {
            local place=$1 what; shift
            for what in "$@"; do
                diff -N $folder/embedded.out/$what $folder/$place.out/$what >$folder/diff && continue
                echo "$what, $place"
            done
        }
        )sh";
};

void CorpusInBothEngines::SetUp() {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "VELLUMO_CORPUS does not name the folder with the corpus";
    }
    ContainerTest::SetUp();
    if (IsSkipped()) {
        return;
    }
    const Said said = DoInPlaces(R"sh(
        ln -s $engine $folder/embedded.engine
        pair image
        pair fonts $(for path in /usr/share/fonts /usr/share/fontconfig /etc/fonts \
            /var/cache/fontconfig; do echo "-v $path:$path:ro"; done)
        view embedded $vellumo pool add navo1 navo2 >/dev/null
        for place in image fonts; do
            view $place $vellumo pool add $container${place}a $container${place}b >/dev/null
        done)sh");
    ASSERT_EQ(said.status, 0) << said.text;
}

void CorpusInBothEngines::TearDown() {
    if (!IsSkipped()) {
        Do("docker rm -f ${container}{image,fonts}{a,b} >/dev/null");
    }
}

std::vector<std::string> CorpusInBothEngines::Compare(const CorpusFile& document) const {
    const Said said = DoInPlaces("export file=" + Quoted(document.file) +
                                 "\nconverts=" + (document.converts ? "yes" : "no") + R"sh(
        for place in embedded image fonts; do convert $place & done; wait
        made=no; [ -s $folder/embedded.out/pdf ] && made=yes
        [ $made = $converts ] || echo "outcome, embedded: $(<$folder/embedded.out/log)"
        differ fonts outcome pages layout pixels
        differ image outcome pages words thumbnail)sh");
    EXPECT_EQ(said.status, 0) << said.text;
    return Lines(said.text);
}

Said CorpusInBothEngines::DoInPlaces(const std::string& script) const {
    return Do(kPlaces + script);
}

TEST_F(CorpusInBothEngines, MakesTheSameButForKnownDifferences) {
    const std::vector<CorpusFile> documents = CorpusFiles();
    ASSERT_FALSE(documents.empty()) << "no documents in " << CorpusFolder();
    const auto compare = [this](const auto& document) { return Compare(document); };
    ExpectDifferences(FindDifferences(documents, compare), kKnown);
}

}  // namespace
}  // namespace vellumo::test
