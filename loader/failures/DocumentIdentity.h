// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DOCUMENTIDENTITY_H
#define VELLUMO_LOADER_DOCUMENTIDENTITY_H

#include <cstdint>
#include <optional>
#include <string>

namespace vellumo::loader {

// Which file a document is, and which version of it. Contains no device number: that may change
// with each start of the server.
struct DocumentIdentity {
    int64_t inode = 0;
    int64_t birth = 0;     // nanoseconds since the epoch; 0: the file system does not know it
    int64_t size = 0;      // bytes
    int64_t modified = 0;  // nanoseconds since the epoch

    // Whether no other file of the server has the same identity, whatever its path.
    bool IsUnique() const { return birth != 0; }

    friend bool operator==(const DocumentIdentity&, const DocumentIdentity&) = default;
};

// The identity of what is at `realPath`, with one system call; null when it cannot be examined.
// Follows no symbolic link at the end of the path.
std::optional<DocumentIdentity> IdentityOf(const std::string& realPath);

}  // namespace vellumo::loader

#endif
