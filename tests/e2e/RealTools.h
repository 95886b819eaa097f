// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_REALTOOLS_H
#define VELLUMO_TESTS_REALTOOLS_H

#include <string>
#include <vector>

#include "Device.h"

namespace vellumo::test {

// A test on a device whose containers run the real converters, with an empty cache.
class RealToolsTest : public DeviceTest {
protected:
    // With offices that stay warm from one such test to the next, or each document's own.
    enum class Offices { kCold, kWarm };
    explicit RealToolsTest(Offices offices = Offices::kCold);

    // The tools that were run in the containers, in order.
    static std::vector<std::string> ToolsRun();

    // ToPDFCache and ToThumbnail of the document at that real path.
    static int CachePdf(const std::string& document);
    static int MakeThumbnail(const std::string& document);

    // Where the streams of `document` lie.
    static std::string StreamsOf(const std::string& document);

    // Puts `document` into the share docs under `name`, as its user's own and nobody else's to
    // read. Gives its real path.
    static std::string PutIntoShare(const std::string& document, const std::string& name);

    // Puts `document` into the share docs under `name` and converts it; `pages` as for ToPDF.
    // Gives the result code and leaves the product's path in `_product`.
    int Convert(const std::string& document, const std::string& name, const char* pages);

    // Checks that the product is a PDF of `pages` pages (0: at least one) from which text can be
    // taken, and gives that text.
    void ExpectPdf(int pages, std::string* text = nullptr) const;
    static void ExpectPdfAt(const std::string& file, int pages, std::string* text = nullptr);

    // Checks that the product is a picture.
    void ExpectPicture() const;

    // Checks that `picture` shows the first page of `pdf` at the size of a thumbnail: as bright,
    // and blank only where the page is, which is drawn by another program to compare.
    static void ExpectThumbnail(const std::string& picture, const std::string& pdf);
    static void ExpectNotBlank(const std::string& picture);

    // Checks that `picture` is a PNG of 8 bits a channel, without the moment that it was made at,
    // and takes as little room as a thumbnail in a folder's list should.
    static void ExpectSmall(const std::string& picture);

    // Takes the product away and checks that nothing else is there, nor in use.
    void ExpectNothingLeft();

    std::string _product;
};

}  // namespace vellumo::test

#endif
