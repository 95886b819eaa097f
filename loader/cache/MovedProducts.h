// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_MOVEDPRODUCTS_H
#define VELLUMO_LOADER_MOVEDPRODUCTS_H

#include <string>
#include <vector>

namespace vellumo::loader {

// A document or folder that was renamed: real paths.
struct Renamed {
    std::string from;
    std::string to;
};

// Lets the kept products of renamed documents, and of all documents in renamed folders, follow
// them, so that they need no conversion: in the index of the cache and then in the tree of kept
// streams (see NAVOEAMove). `renamed`: in the order of the renames, as these may build on each
// other. A rename across volumes, or of something of which nothing is kept, costs a few system
// calls.
//
// A product stays with the file it was made of, whatever has the old name or the new one by now.
// When the process is killed meanwhile, a product without its entry in the index or the other way
// round may be left: repeat the call, or let the sweep remove it; a conversion makes it anew.
//
// Must run as root. Waits for at most 150 seconds for another process's lock on the index. Returns
// false, with a message in the system log, when something could not be moved.
bool MoveProducts(const std::vector<Renamed>& renamed);

}  // namespace vellumo::loader

#endif
