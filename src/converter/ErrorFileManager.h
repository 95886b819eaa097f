// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_ERRORFILEMANAGER_H
#define VELLUMO_CONVERTER_ERRORFILEMANAGER_H

#include <string>

namespace NAVO::VELLUMO::thumbnail {

// The marker file beside a thumbnail that records a failed attempt: created before the attempt,
// removed after a success.
class ErrorFileManager {
public:
    // `thumbnail`: the thumbnail's path; empty when it is unknown.
    explicit ErrorFileManager(const std::string& thumbnail);
    virtual ~ErrorFileManager();
    ErrorFileManager(const ErrorFileManager&) = delete;
    ErrorFileManager& operator=(const ErrorFileManager&) = delete;

    // Creates the marker. Returns false when it cannot be created or the path is unknown.
    bool Touch();

    // Removes the marker.
    void Remove();

private:
    std::string _thumbnail;
    std::string _marker;
};

}  // namespace NAVO::VELLUMO::thumbnail

#endif
