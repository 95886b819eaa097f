// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Roots.h"

#include <algorithm>

#include "loader/documents/FolderRules.h"

namespace vellumo::watch {
namespace {

std::string_view LastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// Whether a component of `path`, which is relative, is passed over.
bool HasHiddenComponent(std::string_view path) {
    while (!path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        if (end > 0 && loader::IsPassedOver(path.substr(0, end))) {
            return true;
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return false;
}

}  // namespace

bool IsWithin(std::string_view path, std::string_view folder) {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || folder.ends_with('/') || path[folder.size()] == '/');
}

std::string EntryPath(std::string_view folder, std::string_view name) {
    std::string path(folder);
    path.append(folder.ends_with('/') ? "" : "/").append(name);
    return path;
}

Roots::Roots(const std::vector<std::string>& own, const std::vector<std::string>& others) {
    for (const std::string& root : others) {
        _all.emplace(root, false);
    }
    for (const std::string& root : own) {
        Add(root);
    }
}

bool Roots::Add(const std::string& own) {
    bool& isOwn = _all[own];
    if (isOwn) {
        return false;
    }
    isOwn = true;
    _own.push_back(own);
    return true;
}

void Roots::Remove(const std::string& own) {
    _all.erase(own);
    std::erase(_own, own);
}

std::vector<std::string> Roots::Others() const {
    std::vector<std::string> others;
    for (const auto& [root, isOwn] : _all) {
        if (!isOwn) {
            others.push_back(root);
        }
    }
    return others;
}

std::string_view Roots::RootOf(std::string_view path) const {
    for (std::string_view above = path; !above.empty(); above = above.substr(0, above.rfind('/'))) {
        const auto root = _all.find(above);
        if (root != _all.end()) {
            return root->second ? std::string_view(root->first) : std::string_view();
        }
    }
    const auto top = _all.find("/");
    return top != _all.end() && top->second && path.starts_with('/') ? top->first
                                                                     : std::string_view();
}

bool Roots::HasFolder(std::string_view path) const {
    const std::string_view root = RootOf(path);
    return !root.empty() && !HasHiddenComponent(path.substr(root.size()));
}

bool Roots::HasFile(std::string_view path) const {
    return loader::IsConvertible(LastComponent(path)) && HasFolder(path);
}

}  // namespace vellumo::watch
