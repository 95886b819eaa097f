// SPDX-License-Identifier: Apache-2.0
#include "FirstPage.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

// The library's own pointers are those of the standard library.
#define POINTERHOLDER_TRANSITION 4
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr uintmax_t kLargest = uintmax_t{128} << 20U;
// A small PDF may grow by the tables of the new form.
constexpr uintmax_t kMostGrowth = 4096;
// Each takes up to a kilobyte of memory, of which this process may have 1 GiB by default.
constexpr size_t kMostObjects = 200000;
constexpr auto kLimit = std::chrono::seconds(5);

void CheckTime(Clock::time_point until) {
    if (Clock::now() > until) {
        throw std::runtime_error("it takes too long");
    }
}

// Is called after each hundredth of the file.
class TimeLimit : public QPDFWriter::ProgressReporter {
public:
    explicit TimeLimit(Clock::time_point until) : _until(until) {}
    void reportProgress(int /*percentage*/) override { CheckTime(_until); }

private:
    Clock::time_point _until;
};

bool IsWorthwhile(const std::string& path, uintmax_t smallest) {
    std::error_code error;
    const uintmax_t size = fs::file_size(path, error);
    return !error && size >= smallest && size <= kLargest;
}

void GiveEachPageItsResources(std::vector<QPDFPageObjectHelper>& pages, Clock::time_point until) {
    for (QPDFPageObjectHelper& page : pages) {
        page.removeUnreferencedResources();
        CheckTime(until);
    }
}

// Throws an exception when the PDF cannot be rewritten; a part of the new one may be left.
void Rewrite(const std::string& from, const std::string& to, Clock::time_point until) {
    QPDF pdf;
    pdf.setSuppressWarnings(true);
    pdf.setAttemptRecovery(false);
    pdf.processFile(from.c_str());
    QPDFPageDocumentHelper document(pdf);
    document.pushInheritedAttributesToPage();  // the tree of pages refers to all resources
    std::vector<QPDFPageObjectHelper> pages = document.getAllPages();
    if (pages.size() < 2 || pdf.getObjectCount() > kMostObjects) {
        throw std::runtime_error("there is nothing to gain, or too much to do");
    }
    GiveEachPageItsResources(pages, until);
    QPDFWriter writer(pdf, to.c_str());
    writer.setObjectStreamMode(qpdf_o_generate);
    writer.registerProgressReporter(std::make_shared<TimeLimit>(until));
    writer.write();
    if (pdf.anyWarnings() || fs::file_size(to) > fs::file_size(from) + kMostGrowth) {
        throw std::runtime_error("it is not better than before");
    }
}

}  // namespace

void SeparatePages(const std::string& path, Clock::time_point until, uintmax_t smallest) {
    if (!IsWorthwhile(path, smallest)) {
        return;
    }
    const std::string rewritten = path + ".new";
    std::error_code error;
    try {
        Rewrite(path, rewritten, std::min(until, Clock::now() + kLimit));
        fs::rename(rewritten, path);
    } catch (const std::exception&) {
        fs::remove(rewritten, error);  // the PDF stays as the office has made it
    }
}

}  // namespace vellumo::office
