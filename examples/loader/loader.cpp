// SPDX-License-Identifier: Apache-2.0
// loader SHAREPATH: converts a document, for instance /docs/report.docx, and prints where its PDF
// is. The PDF belongs to the caller, who moves or deletes it.
#include <vellumo/Converter.h>

#include <iostream>

int main(int count, char** words) {
    NAVO::VELLUMO::path::Path document, product;
    document.SetData("sharePath", count == 2 ? words[1] : "", true);
    const int code = NAVO::VELLUMO::converter::ToPDF(document, product, nullptr);
    if (code != 1000) {  // the system log has the reason
        std::cerr << "cannot convert: " << code << '\n';
        return 1;
    }
    std::cout << product.GetRealPath() << '\n';
    return 0;
}
