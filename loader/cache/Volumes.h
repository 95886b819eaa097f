// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_VOLUMES_H
#define VELLUMO_LOADER_VOLUMES_H

#include <string>
#include <vector>

namespace vellumo::loader {

// The server's volumes: "/volume1", "/volume2", as far as they exist, in no particular order.
std::vector<std::string> Volumes();

// The folders above all trees of products: the volumes, and the one for documents that are on none;
// while there is no such folder, the one in which it will be.
std::vector<std::string> FoldersOfProducts();

}  // namespace vellumo::loader

#endif
