// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_ROOTS_H
#define VELLUMO_WATCH_ROOTS_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vellumo::watch {

// Whether `path` is `folder` or lies below it.
bool IsWithin(std::string_view path, std::string_view folder);

// The path of the entry `name` of `folder`.
std::string EntryPath(std::string_view folder, std::string_view name);

// The folders that one watch looks after. A root may lie in a folder of another root when another
// watch looks after it.
class Roots {
public:
    // `own`: real paths, without a slash at the end. `others`: roots of other watches.
    explicit Roots(const std::vector<std::string>& own,
                   const std::vector<std::string>& others = {});

    // Adds an own root; false when there is one of that path. The second removes it.
    bool Add(const std::string& own);
    void Remove(const std::string& own);

    const std::vector<std::string>& Own() const { return _own; }
    std::vector<std::string> Others() const;

    // The root that `path` lies in, or "" when no own root is the closest one.
    std::string_view RootOf(std::string_view path) const;

    // Whether the watch tells about the file or folder `path`: it lies in an own root, and no
    // component below the root is passed over. The name of a file must be one that a converter
    // takes.
    bool HasFolder(std::string_view path) const;
    bool HasFile(std::string_view path) const;

private:
    std::vector<std::string> _own;
    std::map<std::string, bool, std::less<>> _all;  // and whether it is an own one
};

}  // namespace vellumo::watch

#endif
