// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_CONVERSION_H
#define VELLUMO_OFFICE_CONVERSION_H

#include <string>
#include <vector>

#include "Kit.h"

namespace vellumo::office {

// What to do with one document.
struct Conversion {
    std::string source;      // path of the document
    std::string target;      // path of the PDF
    std::string pages = "";  // in the form of the filter's PageRange; empty for all
    bool refresh = false;    // update the indexes and hide tracked changes, as unoconv does
    bool fit = false;        // scale each sheet to the width of one page
    bool endsSoon = false;   // leave the document open, because this process ends anyway
};

// Turns the document into a PDF. Throws Failure with kLoadFailed or kOfficeFailed.
void Convert(const Context& context, const Conversion& conversion);

// A file name and the export filter that makes the file.
struct SavedAs {
    const char* name;
    const char* filter;
};

// Saves the document `source` in the directory `folder` in each of the forms. Throws Failure.
void Save(const Context& context, const std::string& source, const std::string& folder,
          const std::vector<SavedAs>& forms);

// Opens and closes the document. Throws Failure.
void Load(const Context& context, const std::string& source);

}  // namespace vellumo::office

#endif
