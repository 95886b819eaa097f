// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_OUTPUTFILE_H
#define VELLUMO_TOOLS_OUTPUTFILE_H

#include <string>

#include "loader/documents/Document.h"

namespace vellumo::cli {

// Where the products of one command go: into a directory, each under its document's name, or to one
// file.
class OutputPlace {
public:
    // `option`: the value of -o; "", for none, means the current directory. An existing directory,
    // and a value that ends in a slash, mean a directory. Throws Failure for a file when there are
    // several `documents`, and for "-".
    OutputPlace(const std::string& option, size_t documents);

    // The absolute path for the product of `document`, which has `targetType`.
    std::string PathFor(const loader::Document& document, const std::string& targetType) const;

private:
    std::string _path;  // absolute
    bool _isDirectory;
};

// Throws Failure when `path` cannot be written: its directory is missing or not writable, `path` is
// a directory, or it exists and `replace` is false.
void CheckOutput(const std::string& path, bool replace);

enum class Transfer { kMove, kCopy };

// Moves or copies a product to `path` and gives it the permissions of a new file (0666 less the
// umask). The file appears there as a whole, by a rename, which replaces a link and never follows
// it. Throws Failure when that fails and, without `replace`, when `path` exists by now.
void HandOver(const std::string& product, const std::string& path, Transfer transfer, bool replace);

}  // namespace vellumo::cli

#endif
