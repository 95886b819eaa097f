// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_FOLDERTREE_H
#define VELLUMO_WATCH_FOLDERTREE_H

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vellumo::watch {

// The paths of numbered folders. A folder keeps its own name alone, so a renamed folder takes all
// folders below it along in one step.
class FolderTree {
public:
    static constexpr int kNone = -1;

    // Adds the folder `number` (not negative) as `name` in the folder `parent`, or, without a
    // parent, as the root with the path `name`. A folder that is there already moves to that place.
    // Another folder in that place is removed first, with all below it. Returns false,
    // and adds nothing, when the parent is not there or is below the folder itself.
    bool Put(int number, int parent, const std::string& name);

    bool Has(int number) const { return _folders.contains(number); }
    size_t Size() const { return _folders.size(); }

    // The number of the folder `name` in `parent`, or kNone.
    int Find(int parent, const std::string& name) const;

    // The path of a folder that is there.
    std::string PathOf(int number) const;

    // The path of the root above it, or of itself.
    const std::string& RootOf(int number) const;

    // Removes the folder, if it is there, and all below it; returns their numbers.
    std::vector<int> Remove(int number);

private:
    using Places = std::map<std::pair<int, std::string>, int>;  // parent and name to number

    bool IsInside(int folder, int other) const;

    Places _places;
    std::unordered_map<int, Places::const_iterator> _folders;
};

}  // namespace vellumo::watch

#endif
