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
    // kWarm: offices stay warm from one such test to the next. kCold: each document starts its own.
    enum class Offices { kCold, kWarm };
    explicit RealToolsTest(Offices offices = Offices::kCold);

    // The tools that were run in the containers, in order.
    static std::vector<std::string> ToolsRun();

    // Calls ToPDFCache or ToThumbnail for the document at that real path.
    static int CachePdf(const std::string& document);
    static int MakeThumbnail(const std::string& document);

    // The directory of the streams of `document`.
    static std::string StreamsOf(const std::string& document);

    // Copies `document` to the share docs under `name`; only its user may read it. Returns its real
    // path.
    static std::string PutIntoShare(const std::string& document, const std::string& name);

    // Copies `document` to the share docs under `name` and converts it; `pages` as for ToPDF.
    // Returns the result code and sets `_product` to the product's path.
    int Convert(const std::string& document, const std::string& name, const char* pages);

    // Checks that the product is a PDF of `pages` pages (0: at least one) from which text can be
    // extracted; sets `*text` to that text.
    void ExpectPdf(int pages, std::string* text = nullptr) const;
    static void ExpectPdfAt(const std::string& file, int pages, std::string* text = nullptr);

    // Checks that the product is a picture.
    void ExpectPicture() const;

    // Checks that `picture` shows the first page of `pdf` at the size of a thumbnail. Another
    // program draws the page for comparison: the picture must be as bright, and blank only if the
    // page is blank.
    static void ExpectThumbnail(const std::string& picture, const std::string& pdf);
    static void ExpectNotBlank(const std::string& picture);

    // Checks that `picture` is a PNG of 8 bits per channel without its time of creation, and not
    // larger than a thumbnail in a folder's list should be.
    static void ExpectSmall(const std::string& picture);

    // Removes the product and checks that no other file is left and no container is in use.
    void ExpectNothingLeft();
    static void ExpectNothingLeftByTheEngine();

    std::string _product;
};

}  // namespace vellumo::test

#endif
