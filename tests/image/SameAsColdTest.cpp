// SPDX-License-Identifier: Apache-2.0
// What the image's tools make against what the tools make as Debian has them, started for each
// document, in the same container: pages, text, and how the first pages look. PDFs carry dates and
// random names, so their bytes tell nothing.
#include <filesystem>
#include "Container.h"
#include "Corpus.h"
#include "Differences.h"
#include "vellumo/Converter.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;
using namespace NAVO::VELLUMO::converter;

const char* const kEmpty = "there is nothing to convert; stock tools make a blank page";

const std::vector<Difference> kKnown = {
    {"doc/empty_file_three.doc", "pages, soffice", kEmpty},
    {"doc/empty_file_three.doc", "text, soffice", kEmpty},
    {"doc/empty_file_three.doc", "picture, soffice", kEmpty},
    {"doc/empty_file_three.doc", "pages, unoconv", kEmpty},
    {"doc/empty_file_three.doc", "text, unoconv", kEmpty},
    {"doc/empty_file_three.doc", "picture, unoconv", kEmpty},
    {"doc/empty_file_three.doc", "pages, page1", kEmpty},
    {"doc/empty_file_three.doc", "text, page1", kEmpty},
    {"doc/empty_file_three.doc", "picture, page1", kEmpty},
};

struct Document {
    std::string file;
    std::string path;
    std::string type;
    bool converts;
};

std::vector<Document> Documents() {
    std::vector<Document> documents;
    for (const fs::directory_entry& sample : fs::directory_iterator(VELLUMO_SAMPLES)) {
        const std::string type = sample.path().extension();
        if (sample.is_regular_file() && !type.empty() && type != ".md") {
            documents.push_back({"samples/" + sample.path().filename().string(), sample.path(),
                                 type.substr(1), true});
        }
    }
    for (const CorpusFile& file : CorpusFiles()) {
        documents.push_back(
            {file.file, CorpusFolder() + "/" + file.file, file.type, file.converts});
    }
    return documents;
}

// The forms of the converters' commands for a type, each a function of kForms.
std::string FormsOf(const std::string& type) {
    if (UnoconvSpreadSheetConverter::_supportTypeSet.contains(type)) {
        return "unoconv page1 fit";
    }
    if (PdftkConverter::_supportTypeSet.contains(type)) {
        return "pdftk convert";
    }
    return CalibreConverter::_supportTypeSet.contains(type) ? "book" : "soffice unoconv page1";
}

class SameAsCold : public ContainerTest {
protected:
    void SetUp() override;

    // What is made differently of a document.
    std::vector<std::string> Compare(const Document& document) const;

private:
    // By a form, FORM_ours and then FORM_stock convert $source/$name and leave $target/FORM.*.
    // Stock programs run as they would without us: as root, with settings of their own.
    static constexpr const char* kForms = R"sh(
        out=$folder/out
        by_docker() { docker exec "$@" >>$out/stock.log 2>&1; }
        stock() { by_docker -e HOME=/tmp/$form $container timeout --kill-after=5 120 "$@"; }

        to_pdf() { echo "--headless --convert-to pdf --outdir $target/ $source/$name"; }
        soffice_ours() { tool soffice $(to_pdf); }
        soffice_stock() { stock /usr/bin/soffice $(to_pdf); }

        product() { echo "-o $target/$form.pdf --format=pdf"; }
        # By itself it waits 6 s for its office, too short for a busy machine.
        patient_unoconv() { stock /usr/bin/unoconv --timeout=100 "$@"; }
        unoconv_ours() { tool unoconv $(product) $source/$name; }
        unoconv_stock() { patient_unoconv $(product) $source/$name; }
        page1_ours() { tool unoconv $(product) -e PageRange=1-1 $source/$name; }
        page1_stock() { patient_unoconv --port=2003 $(product) -e PageRange=1-1 $source/$name; }
        # The stock one cannot fit a sheet to a page: ours, with an office of its own.
        fit() { docker exec $1 $container timeout 120 unoconv $(product) --spreadsheet-fitpage=x \
            $source/$name; }
        fit_ours() { fit; }
        fit_stock() { fit '-e VELLUMO_OFFICE_SOCKET=/none' >>$out/stock.log 2>&1; }

        first_page() { echo "A=$source/$name cat A1-1 output $target/$form.pdf"; }
        pdftk_ours() { tool pdftk $(first_page); }
        pdftk_stock() { stock /usr/bin/pdftk $(first_page); }

        # In full size: a picture that may be transparent is made smaller by another filter, which
        # leaves its edges a little softer. The stock policy takes no PDF, so that one is ours.
        drawing='-define pdf:use-cropbox=true -density 72'
        convert_ours() {
            tool convert $drawing $source/$name $target/convert.png 2>>$out/convert.log
            mv -f $T/convert-0.png $T/convert.png 2>&-; rm -f $T/convert-*
        }
        convert_stock() {
            by_docker -e MAGICK_CONFIGURE_PATH=/stock $container /usr/bin/convert $drawing \
                $source/$name[0] -background white -alpha remove $target/convert.png
        }

        book() { echo "$source/$name $target/book.pdf --margin-bottom 20 --margin-left 20
            --margin-right 20 --margin-top 20"; }
        book_ours() { tool ebook-convert $(book) >>$out/book.log 2>&1; }
        book_stock() { stock /usr/bin/ebook-convert $(book); }

        make() { name=$form.$type; ${form}_$1; mv $T/$form.* $out/$form.$1 2>&-; }
        pages() { pdfinfo -box $1 | grep -e ^Page -e Box; }
        text() { pdftotext -layout $1 -; }
        picture() { pdftoppm -r 50 -l 3 $1 | sha256sum; }
        differ() {
            local what
            for what in pages text picture; do
                cmp -s <($what $out/$form.ours 2>&-) <($what $out/$form.stock 2>&-) ||
                    echo "$what, $form"
            done
        }
        # Up to two steps of a colour's 255.
        differ_as_pictures() {
            [ -e $out/convert.ours ] || [ -e $out/convert.stock ] || return 0
            [ "$(/usr/bin/compare -fuzz 1% -metric AE png:$out/convert.{ours,stock} null: 2>&1)" = 0 ] ||
                echo "picture, convert"
        }
        )sh";
};

void SameAsCold::SetUp() {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "VELLUMO_CORPUS does not name the folder with the corpus";
    }
    SKIP_WITHOUT("unoconv");
    ContainerTest::SetUp();
    if (IsSkipped()) {
        return;
    }
    // One office for all documents: what it keeps of one must not show in the next.
    Start(
        "-e VELLUMO_OFFICE_IDLE=600 -e VELLUMO_OFFICE_DOCUMENTS=1000 "
        "-v $(type -P unoconv):/usr/bin/unoconv:ro "
        "-v /etc/ImageMagick-6/delegates.xml:/stock/delegates.xml:ro");
}

std::vector<std::string> SameAsCold::Compare(const Document& document) const {
    const std::string given = "path=" + Quoted(document.path) + " type=" + document.type +
                              " converts=" + (document.converts ? "yes" : "no") + " forms='" +
                              FormsOf(document.type) + "'\n";
    const Said said = Do(kForms + given + R"sh(
        rm -rf $out $S/* $T/*; mkdir $out
        for form in $forms; do install -m 600 -o 12345 "$path" $S/$form.$type; done
        for form in $forms; do
            make ours >$out/said 2>&1
            made=no; [ -s $out/$form.ours ] && made=yes
            [ $made = $converts ] && { [ $made = no ] || [ ! -s $out/said ]; } ||
                echo "ours, $form: $(head -1 $out/said)"
        done
        for form in $forms; do make stock & done; wait
        for form in $forms; do
            case $form in convert) differ_as_pictures ;; *) differ ;; esac
        done)sh");
    EXPECT_EQ(said.status, 0) << said.text;
    return Lines(said.text);
}

TEST_F(SameAsCold, MakesTheSameButForKnownDifferences) {
    const auto compare = [this](const auto& document) { return Compare(document); };
    ExpectDifferences(FindDifferences(Documents(), compare), kKnown);
}

}  // namespace
}  // namespace vellumo::test
