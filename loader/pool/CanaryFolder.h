// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_CANARYFOLDER_H
#define VELLUMO_LOADER_CANARYFOLDER_H

#include <string>
#include <vector>

namespace vellumo::loader {

// A folder with sample documents whose conversion tests the tools. It lies on the volume of the
// scratch directories, where no user sees it, and is removed at the end with its content and with
// what the conversions have kept of it.
class CanaryFolder {
public:
    // `installed`: the directory of the samples, relative to that of this program; in a build tree
    // they are in "canaries" beside it. `documents`: the names of those that are needed. Throws
    // std::filesystem::filesystem_error when the samples are missing or cannot be copied, and
    // Failure when the server has no share for scratch files.
    CanaryFolder(const std::string& installed, const std::vector<std::string>& documents);
    ~CanaryFolder();
    CanaryFolder(const CanaryFolder&) = delete;
    CanaryFolder& operator=(const CanaryFolder&) = delete;

    std::string SharePath() const;
    const std::string& RealPath() const { return _realPath; }

private:
    // A constructor of its own, so that the folder is removed also when a document cannot be
    // copied.
    explicit CanaryFolder(std::string realPath) : _realPath(std::move(realPath)) {}

    std::string _realPath;
    std::vector<std::string> _products;  // the directories where a conversion keeps them
};

}  // namespace vellumo::loader

#endif
