// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_REALTOOLS_H
#define VELLUMO_TESTS_REALTOOLS_H

#include <string>

#include "Device.h"

namespace vellumo::test {

// A test on a device whose containers run the real converters.
class RealToolsTest : public DeviceTest {
protected:
    RealToolsTest();

    // Puts `document` into the share docs under `name`, as its user's own and nobody else's to
    // read. Gives its real path.
    static std::string PutIntoShare(const std::string& document, const std::string& name);

    // Puts `document` into the share docs under `name` and converts it; `pages` as for ToPDF.
    // Gives the result code and leaves the product's path in `_product`.
    int Convert(const std::string& document, const std::string& name, const char* pages);

    // Checks that the product is a PDF of `pages` pages (0: at least one) from which text can be
    // taken, and gives that text.
    void ExpectPdf(int pages, std::string* text = nullptr) const;

    // Checks that the product is a picture.
    void ExpectPicture() const;

    // Takes the product away and checks that nothing else is there, nor in use.
    void ExpectNothingLeft();

    std::string _product;
};

}  // namespace vellumo::test

#endif
