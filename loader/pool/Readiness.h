// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_READINESS_H
#define VELLUMO_LOADER_READINESS_H

#include <cstddef>
#include <string>

#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// Checks before a conversion. Each throws Failure, with `what` as its Problem::what, when something
// is missing.

// The process is root or can become root, as the library needs during a conversion.
void CheckRights(const std::string& what);

// There are a share for scratch files and a container engine's client.
void CheckServer(const std::string& what);

// A registered container takes jobs of `priority`. Returns how many of them can run at once.
size_t CheckPool(const std::string& what, NAVO::VELLUMO::ContainerPoolManager::Priority priority);

// Whether the engine runs a command in each registered container, which takes a moment for each.
// False also when the pool's state cannot be read.
bool DoContainersAnswer();

}  // namespace vellumo::loader

#endif
