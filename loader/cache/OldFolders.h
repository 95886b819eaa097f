// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_OLDFOLDERS_H
#define VELLUMO_LOADER_OLDFOLDERS_H

#include <cstdint>
#include <functional>
#include <string>

namespace vellumo::loader {

// Earlier versions kept the products of a document NAME beside it, in .navoea/NAME/. Users may
// write to the folders above and could replace anything there, so these products are never read
// again.

// A folder .navoea that belongs to root.
struct OldFolder {
    std::string path;
    int64_t bytes = 0;  // of the products in it
};

// Looks through the directory `top` and below it, on its file system and without following links.
// Calls `found` for each folder that has products; `found` returns false to end the search.
// `enters` is called for each directory, and returns false to end the search.
void FindOldFolders(const std::string& top, const std::function<bool(const OldFolder&)>& found,
                    const std::function<bool()>& enters);

// Removes the products in the folder, and the folder if nothing else is in it. Files of anybody but
// root, and files that are no products, stay. Returns false, with errno, on failure.
bool RemoveOldFolder(const std::string& top, const OldFolder& folder);

}  // namespace vellumo::loader

#endif
