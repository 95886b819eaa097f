// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_VOLUMES_H
#define VELLUMO_LOADER_VOLUMES_H

#include <string>
#include <vector>

namespace vellumo::loader {

// The server's volumes: "/volume1", "/volume2", as far as they exist, in no particular order.
std::vector<std::string> Volumes();

}  // namespace vellumo::loader

#endif
