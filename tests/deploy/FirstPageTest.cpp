// SPDX-License-Identifier: Apache-2.0
// Page 1 of a PDF needs no more than what it shows, by each road on which a PDF is made, and
// nothing else of the PDF changes.
#include "FirstPage.h"

#include <filesystem>

#include "Corpus.h"
#include "OfficeScript.h"
#include "Process.h"
#include "Shell.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using testing::ContainsRegex;
using testing::EndsWith;

constexpr auto kLong = std::chrono::hours(1);

class FirstPage : public ShellTest {
protected:
    FirstPage() : _pdf(Folder() + "/a.pdf") {}

    Said Do(const std::string& script) const { return OnHost(kCommon + script); }
    Said Convert(const std::string& script) const {
        return InView(kCommon + std::string(kOfficeScript) + script);
    }
    // Of a PDF of several pages with pictures, tags and a form.
    void MakePdf() const {
        ASSERT_EQ(Do("$make form $folder/a.pdf 8 300; cp $folder/a.pdf $folder/before.pdf").status,
                  0);
    }
    void Separate(steady_clock::time_point until = steady_clock::now() + kLong) const {
        office::SeparatePages(_pdf, until);
    }
    // Whether the PDF is as it was made, with nothing else beside it.
    void ExpectUntouched() const {
        EXPECT_THAT(Do("cd $folder; cmp a.pdf before.pdf; rm before.pdf; ls -A"),
                    Says(0, "a.pdf\n"));
    }

    std::string _pdf;

    static constexpr const char* kCommon = R"sh(
        make=)sh" VELLUMO_MAKE_DOCUMENT R"sh( same=${make%/*}/same-document
        separate() { )sh" VELLUMO_SEPARATE_PAGES R"sh( "$1" $(date +%s) $2; }
        needs() { )sh" VELLUMO_FIRST_PAGE R"sh( $1 | sed 's/.*: \([0-9]*\) of.*/\1/'; }
        stock_office() {
            /usr/bin/soffice -env:UserInstallation=file://$folder/profile --headless --convert-to pdf \
                --outdir $folder $1 >/dev/null 2>&1
        }
        by_qpdf() { printf '#!/bin/bash\n%s\n' "$1" >$folder/qpdf; chmod 755 $folder/qpdf
            mount --bind $folder/qpdf /usr/bin/qpdf; }
        restricted() { $make pdf $folder/open.pdf 3
            qpdf --allow-weak-crypto --encrypt "$2" owner $3 --print=none --extract=n -- $folder/open.pdf $S/$1; hide $S/$1; }
        cut() { tool pdftk A=$source/$1 cat $2 output $target/$3; }
        )sh";
};

TEST_F(FirstPage, OfAWarmOfficesPdfNeedsNoOtherPage) {
    SKIP_WITHOUT("qpdf", "pdftoppm");
    MakePdf();
    Separate();
    const Said said = Do(R"sh(cd $folder; $same before.pdf a.pdf; ls -A
        look() { pdftotext $1 -; pdftoppm -r 40 $1 | sha256sum; }
        cmp <(look a.pdf) <(look before.pdf); qpdf --check a.pdf >log || cat log
        [ $(($(needs a.pdf) * 3)) -lt $(needs before.pdf) ] || echo much)sh");
    EXPECT_THAT(said, Says(0, "same: 8 pages outline tags form annotations\na.pdf\nbefore.pdf\n"));
}

TEST_F(FirstPage, OfASmallPdfStays) {
    Do("$make form $folder/a.pdf 8 30; cp $folder/a.pdf $folder/before.pdf");
    Separate();
    ExpectUntouched();
}

TEST_F(FirstPage, OfAPdfOfOnePageStays) {
    Do("$make form $folder/a.pdf 1 1000; cp $folder/a.pdf $folder/before.pdf");
    Separate();
    ExpectUntouched();
}

TEST_F(FirstPage, OfADamagedPdfStays) {
    Do("$make form $folder/a.pdf 8 300; truncate -s 600000 $folder/a.pdf; "
       "cp $folder/a.pdf $folder/before.pdf");
    Separate();
    ExpectUntouched();
}

TEST_F(FirstPage, StaysWhenThereIsNoTime) {
    MakePdf();
    Separate(steady_clock::now());
    ExpectUntouched();
}

TEST_F(FirstPage, StaysWhenThereIsNoPlace) {
    MakePdf();
    fs::create_directory(_pdf + ".new");
    Separate();
    fs::remove(_pdf + ".new");
    ExpectUntouched();
}

TEST_F(FirstPage, OfAColdOfficesPdfNeedsNoOtherPage) {
    SKIP_WITHOUT("soffice", "qpdf");
    const Said said = Convert(R"sh(
        document pictures a.fodt 6 500; stock_office $S/a.fodt
        office a.fodt >$folder/log 2>&1; unoconv x.pdf $source/a.fodt 2>&1
        for name in a x; do
            $same --anew $folder/a.pdf $T/$name.pdf
            [ $(($(needs $T/$name.pdf) * 3)) -lt $(needs $folder/a.pdf) ] || echo much
        done; ls -A $T)sh");
    EXPECT_THAT(said, Says(0,
                           "same: 6 pages outline annotations\n"
                           "same: 6 pages outline annotations\n"
                           "a.pdf\nx.pdf\n"));
}

TEST_F(FirstPage, OfABooksPdfNeedsNoOtherPage) {
    SKIP_WITHOUT("ebook-convert", "qpdf");
    const Said said = Convert(R"sh(
        document pictures a.fodt 4 700
        soffice -env:UserInstallation=file://$folder/profile --headless --convert-to epub \
            --outdir $S $S/a.fodt >/dev/null 2>&1
        tool ebook-convert $source/a.epub $target/x.pdf --margin-bottom 20 >$folder/log 2>&1; echo $?
        [ $(stat -c %s $T/x.pdf) -gt 524288 ] || echo small
        qpdf --check $T/x.pdf >$folder/log || cat $folder/log
        [ $(needs $T/x.pdf) -lt $(($(stat -c %s $T/x.pdf) * 2 / 3)) ] || needs $T/x.pdf; ls -A $T)sh");
    EXPECT_THAT(said, Says(0, "0\nx.pdf\n"));
}

// Neither a qpdf that fails, nor one that is killed, nor one that hangs has any effect.
TEST_F(FirstPage, IsNoReasonForAConversionToFail) {
    SKIP_WITHOUT("soffice");
    const Said said = Convert(R"sh(
        document pictures a.fodt 6 500
        for deed in 'exit 2' 'exit 3' 'kill -SEGV $$' 'sleep 100' 'head -c 999999999 /dev/zero'; do
            by_qpdf 'for to; do :; done; echo part >"$to"; '"$deed"' >>"$to"'
            began=$(now); office a.fodt >$folder/log 2>&1
            echo "$? $(grep -a -c -e ObjStm -e part $T/a.pdf) $(pages a.pdf)"
            [ $(($(now) - began)) -lt 20000 ] || echo "$deed: $(($(now) - began)) ms"
            umount /usr/bin/qpdf; ls -A $T; rm $T/*
        done)sh");
    EXPECT_THAT(said, Says(0,
                           "0 0 6\na.pdf\n0 0 6\na.pdf\n0 0 6\na.pdf\n0 0 6\na.pdf\n"
                           "0 0 6\na.pdf\n"));
}

TEST_F(FirstPage, LeavesNothingOfACommandThatIsKilledMeanwhile) {
    SKIP_WITHOUT("soffice");
    const Said said = Convert(R"sh(
        document pictures a.fodt 6 500
        by_qpdf 'for to; do :; done; echo part >"$to"; sleep 4.125'
        office a.fodt >$folder/log 2>&1 & call=$!
        await pgrep -f '^sleep 4.125'
        kill -KILL $(pgrep -f '^docker exec .*/a.fodt$'); wait $call; echo $?
        await eval '! pgrep -f "^sleep 4.125"'; docker exec none true
        ls -A $T; ls -A ${T%/*})sh");
    EXPECT_THAT(said.text, EndsWith("137\nsource\ntarget\n"));
}

TEST_F(FirstPage, AndAllOthersOfARestrictedPdfAreToBeHad) {
    SKIP_WITHOUT("qpdf", "pdftk", "pdftotext");
    const Said said = Convert(R"sh(
        for bits in 128 256; do
            restricted a.pdf '' $bits
            cut a.pdf A x.pdf; echo $?; cut a.pdf A1-1 y.pdf; echo $?; cut a.pdf A2-3 z.pdf; echo $?
            for name in x y z; do pages $name.pdf; pdftotext $T/$name.pdf - | head -1
                pdfinfo $T/$name.pdf | grep -o 'Encrypted: *no'; done
            rm $T/* $S/*
        done)sh");
    const std::string once =
        "0\n0\n0\n3\nHello page\nEncrypted:       no\n1\nHello page\nEncrypted:       no\n2\nHello "
        "page\nEncrypted:       no\n";
    EXPECT_THAT(said, Says(0, once + once));
}

TEST_F(FirstPage, OfAPdfWithAPasswordIsRefused) {
    SKIP_WITHOUT("qpdf", "pdftk");
    const Said said = Convert(R"sh(
        for bits in 128 256; do
            restricted a.pdf secret $bits
            cut a.pdf A x.pdf >$folder/log 2>&1; echo $?; cut a.pdf A1-1 y.pdf >>$folder/log 2>&1; echo $?
            ls -A $T; rm $S/*
        done)sh");
    EXPECT_THAT(said, Says(0, "1\n2\n1\n2\n"));
}

TEST_F(FirstPage, IsTakenOutOfAPdfThatKeepsItsTagsAndItsForm) {
    SKIP_WITHOUT("qpdf", "pdftk");
    const Said said = Convert(R"sh(
        document form a.pdf 4 100; cut a.pdf A x.pdf; $same $S/a.pdf $T/x.pdf
        [ $(needs $T/x.pdf) -le $(needs $S/a.pdf) ] || echo more)sh");
    EXPECT_THAT(said, Says(0, "same: 4 pages outline tags form annotations\n"));
}

// All documents of the corpus, however small their PDFs are.
class CorpusFirstPage : public FirstPage {
protected:
    // What is made of a PDF of the office, which the script calls a.pdf.
    void ExpectSame(const std::string& document) const {
        const std::string by = Folder() + "/by-office.pdf";
        fs::copy_file(Folder() + "/a.pdf", by, fs::copy_options::overwrite_existing);
        office::SeparatePages(by, steady_clock::now() + kLong, 0);
        const Said said = Do(R"sh(cd $folder; cp a.pdf by-qpdf.pdf; separate $folder/by-qpdf.pdf 0
            look() { pdfinfo $1 | grep ^Pages; pdftotext -layout $1 -; pdftoppm -r 30 -l 5 $1 | sha256sum; }
            for after in by-office by-qpdf; do
                $same a.pdf $after.pdf; cmp <(look a.pdf) <(look $after.pdf)
                cmp -s a.pdf $after.pdf || echo rewritten
            done)sh");
        EXPECT_THAT(said.text,
                    ContainsRegex("^same: [^\n]*\n(rewritten\n)?same: [^\n]*\n(rewritten\n)?$"))
            << document;
        for (size_t at = 0; (at = said.text.find("rewritten", at)) != std::string::npos; ++at) {
            ++_rewritten;
        }
    }

    mutable size_t _rewritten = 0;  // on both roads
};

TEST_F(CorpusFirstPage, IsTheSameAsBeforeInEachDocument) {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "VELLUMO_CORPUS does not name the folder with the corpus";
    }
    SKIP_WITHOUT("soffice", "qpdf", "pdftotext", "pdftoppm");
    size_t compared = 0;
    for (const CorpusFile& file : CorpusFiles()) {
        if (!file.converts || file.type == "odc") {
            continue;
        }
        const std::string path = CorpusFolder() + "/" + file.file;
        const std::string copy = Folder() + "/a." + file.type;
        fs::copy_file(path, copy, fs::copy_options::overwrite_existing);
        if (file.type != "pdf" && Do("rm -f $folder/a.pdf; stock_office " + copy).status != 0) {
            continue;
        }
        if (fs::exists(_pdf)) {
            ExpectSame(file.file);
            ++compared;
        }
    }
    EXPECT_GE(compared, 40U);
    EXPECT_GE(_rewritten, compared) << "too few PDFs were not left as they were";
}

}  // namespace
}  // namespace vellumo::test
