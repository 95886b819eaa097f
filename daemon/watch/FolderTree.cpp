// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/FolderTree.h"

#include <algorithm>

#include "daemon/watch/Roots.h"

namespace vellumo::watch {

bool FolderTree::Put(int number, int parent, const std::string& name) {
    const int present = Find(parent, name);
    if (present == number) {
        return true;
    }
    Remove(present);
    if (parent != kNone && (!Has(parent) || IsInside(parent, number))) {
        return false;
    }
    const auto known = _folders.find(number);
    if (known != _folders.end()) {
        _places.erase(known->second);
    }
    _folders[number] = _places.emplace(std::pair(parent, name), number).first;
    return true;
}

int FolderTree::Find(int parent, const std::string& name) const {
    const auto place = _places.find({parent, name});
    return place == _places.end() ? kNone : place->second;
}

std::string FolderTree::PathOf(int number) const {
    std::vector<const std::string*> names;
    for (int at = number; at != kNone;) {
        const auto& [parent, name] = _folders.at(at)->first;
        names.push_back(&name);
        at = parent;
    }
    std::string path;
    std::for_each(names.rbegin(), names.rend(), [&](const std::string* name) {
        path = path.empty() ? *name : EntryPath(path, *name);
    });
    return path;
}

const std::string& FolderTree::RootOf(int number) const {
    auto place = _folders.at(number);
    while (place->first.first != kNone) {
        place = _folders.at(place->first.first);
    }
    return place->first.second;
}

std::vector<int> FolderTree::Remove(int number) {
    std::vector<int> removed;
    if (!Has(number)) {
        return removed;
    }
    removed.push_back(number);
    for (size_t i = 0; i < removed.size(); ++i) {
        const int above = removed[i];
        for (auto at = _places.lower_bound({above, ""});
             at != _places.end() && at->first.first == above; ++at) {
            removed.push_back(at->second);
        }
    }
    for (const int each : removed) {
        _places.erase(_folders.at(each));
        _folders.erase(each);
    }
    return removed;
}

bool FolderTree::IsInside(int folder, int other) const {
    while (folder != kNone && folder != other) {
        folder = _folders.at(folder)->first.first;
    }
    return folder != kNone;
}

}  // namespace vellumo::watch
