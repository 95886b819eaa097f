// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Findings.h"

namespace vellumo::watch {

using Kind = Change::Kind;

void Findings::Written(const std::string& path) {
    if (_roots.HasFile(path)) {
        _changes.push_back({Kind::kChanged, path});
    }
}

void Findings::Removed(const std::string& path, bool isFolder) {
    if (IsTold(path, isFolder)) {
        _changes.push_back({Kind::kGone, path, "", isFolder});
    }
}

void Findings::Moved(const std::string& from, const std::string& path, bool isFolder) {
    if (!IsTold(path, isFolder)) {
        Removed(from, isFolder);
    } else if (IsTold(from, isFolder)) {
        _changes.push_back({Kind::kMoved, path, from, isFolder});
    } else if (isFolder) {
        Rescan(path);
    } else {
        Written(path);
    }
}

void Findings::Rescan(const std::string& folder) {
    if (_roots.HasFolder(folder)) {
        _changes.push_back({Kind::kRescan, folder});
    }
}

void Findings::RescanRoots() {
    for (const std::string& root : _roots.Own()) {
        _changes.push_back({Kind::kRescan, root});
    }
}

bool Findings::IsTold(const std::string& path, bool isFolder) const {
    return isFolder ? _roots.HasFolder(path) : _roots.HasFile(path);
}

}  // namespace vellumo::watch
