// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_OUTPUTFILE_H
#define VELLUMO_TOOLS_OUTPUTFILE_H

#include <string>

#include "loader/documents/Document.h"

namespace vellumo::cli {

// Where the products of one call go: into a directory, each under its document's name, or to one
// file.
class OutputPlace {
public:
    // `option`: the value of -o, "" for none, which is the current directory. An existing directory
    // and a text with a slash at its end are a directory. Throws Failure for a file when there are
    // several `documents`, and for "-".
    OutputPlace(const std::string& option, size_t documents);

    // The absolute path for the product of `document`, which has `targetType`.
    std::string PathFor(const loader::Document& document, const std::string& targetType) const;

private:
    std::string _path;  // absolute
    bool _isDirectory;
};

// Throws Failure when nothing can be put at `path`: its directory is missing or may not be written,
// or something lies there that `replace` does not allow, or nothing allows, to be replaced.
void CheckOutput(const std::string& path, bool replace);

enum class Transfer { kMove, kCopy };

// Moves or copies the product of a conversion to `path`, with the permissions of a new file of the
// caller's. Throws Failure when that fails, and without `replace` also when something lies there by
// now.
void HandOver(const std::string& product, const std::string& path, Transfer transfer, bool replace);

}  // namespace vellumo::cli

#endif
