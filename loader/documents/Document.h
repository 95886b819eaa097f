// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DOCUMENT_H
#define VELLUMO_LOADER_DOCUMENT_H

#include <sys/types.h>

#include <string>

#include "loader/documents/Families.h"

namespace vellumo::loader {

// A share path as the library resolves it.
struct Document {
    std::string sharePath;
    std::string user;  // on whose behalf; decides what the home alias stands for
    std::string realPath;
    std::string type;         // lower-case extension, "" for a name without one
    const Family* family;     // how it is converted, null for a type that no converter takes
    std::string eaDirectory;  // of its extended attributes; "" when it can have none
};

// Resolves `sharePath` for `user`. Looks at no file and creates nothing. Throws Failure for a path
// that is malformed or leaves its share, an unknown share and a user without a home.
Document Resolve(const std::string& sharePath, const std::string& user);

// What lies at a real path.
struct FileFacts {
    bool exists = false;
    int error = 0;  // why it could not be looked at; 0 when it exists
    std::string kind = "missing";
    off_t size = 0;
    bool readable = false;  // for the effective ids
};
FileFacts FactsOf(const std::string& realPath);

// Throws Failure unless `document` is a readable, non-empty regular file that a converter takes.
void CheckConvertible(const Document& document);

// The path of the stream `stream` of `document`, "" for one that can have none. Creates nothing.
std::string StreamPath(const Document& document, const std::string& stream);

}  // namespace vellumo::loader

#endif
