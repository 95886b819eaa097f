// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_ERRORFILEMANAGER_H
#define VELLUMO_CONVERTER_ERRORFILEMANAGER_H

#include <string>

namespace NAVO::VELLUMO::thumbnail {

// The file beside a thumbnail that remembers a failed attempt: written before the attempt, removed
// after a success.
class ErrorFileManager {
public:
    // `thumbnail`: where the thumbnail is to lie; empty when that is not known.
    explicit ErrorFileManager(const std::string& thumbnail);
    virtual ~ErrorFileManager();
    ErrorFileManager(const ErrorFileManager&) = delete;
    ErrorFileManager& operator=(const ErrorFileManager&) = delete;

    // Writes the marker; false when that cannot be done, or no place for it is known.
    bool Touch();

    // Removes the marker.
    void Remove();

private:
    std::string _thumbnail;
    std::string _marker;
};

}  // namespace NAVO::VELLUMO::thumbnail

#endif
