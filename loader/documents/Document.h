// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DOCUMENT_H
#define VELLUMO_LOADER_DOCUMENT_H

#include <sys/types.h>

#include <string>

#include "loader/documents/Families.h"
#include "loader/documents/Place.h"

namespace vellumo::loader {

// A share path as the library resolves it.
struct Document {
    std::string sharePath;
    std::string user;  // the account whose home folder the share "home" stands for
    std::string realPath;
    std::string type;         // lower-case extension, "" for a name without one
    const Family* family;     // how it is converted; null for a type that no converter takes
    std::string eaDirectory;  // directory of its extended attributes; "" when it can have none
    Place place{};            // the same as realPath, for a walk that cannot leave the share

    // The directory of the extended attributes of the one file that a user may read, from
    // DirectoryOfChecked(): a conversion refuses every other file. "" for whatever has the path.
    std::string checkedDirectory{};
};

// The name of the share in `sharePath`, a path of the right form: "docs" in "/docs/report.docx".
std::string ShareOf(const std::string& sharePath);

// Resolves `sharePath` for `user`. Accesses no document and creates nothing. Throws Failure for a
// path that is malformed or leaves its share, for an unknown share, and for a home folder of an
// unknown user.
Document Resolve(const std::string& sharePath, const std::string& user);

// Opens what is at `document`, only to examine it. Throws Failure when a symbolic link leads out of
// the share, or when there is one and the share follows none.
OpenedPlace OpenToExamine(const Document& document, LastLink last);

// The same for a regular file; throws Failure when there is none. No pipe or device is opened.
OpenedPlace OpenRegularFile(const Document& document, LastLink last);

// What is at a document's path. A symbolic link at its end is not followed.
struct FileFacts {
    bool exists = false;
    int error = 0;                 // errno if its status cannot be read; 0 when it exists
    std::string kind = "missing";  // or "file", "directory", "link", "special"
    off_t size = 0;
    bool readable = false;  // with the effective ids of this process
};
FileFacts FactsOf(const Document& document);  // throws Failure as OpenToExamine

// Throws Failure unless `document` is a readable, non-empty regular file that a converter takes.
void CheckConvertible(const Document& document);

// The directory of the extended attributes of `file`, which was found at `document`; "" when it can
// have none.
std::string DirectoryOfChecked(const Document& document, const OpenedPlace& file);

// The path of the stream `stream` of `document`; "" when it can have none. Creates nothing.
std::string StreamPath(const Document& document, const std::string& stream);

}  // namespace vellumo::loader

#endif
