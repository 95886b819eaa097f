// SPDX-License-Identifier: Apache-2.0
#include "converter/ErrorFileManager.h"

#include <navo/file.h>
#include <unistd.h>

namespace NAVO::VELLUMO::thumbnail {
namespace {

constexpr const char* kMarkerSuffix = ".err.0063";

}  // namespace

ErrorFileManager::ErrorFileManager(const std::string& thumbnail)
    : _thumbnail(thumbnail), _marker(thumbnail + kMarkerSuffix) {}

ErrorFileManager::~ErrorFileManager() = default;

bool ErrorFileManager::Touch() {
    // Without a thumbnail's path, the marker would be created in the working directory.
    return !_thumbnail.empty() && NLIBCFileTouch(_marker.c_str()) == 0;
}

void ErrorFileManager::Remove() {
    unlink(_marker.c_str());
}

}  // namespace NAVO::VELLUMO::thumbnail
