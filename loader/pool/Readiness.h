// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_READINESS_H
#define VELLUMO_LOADER_READINESS_H

#include <string>

#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// What must be in place before anything is converted. Each throws Failure, with `what` being what
// failed then, when it is not.

// The rights of root can be had, which the library asks for on its way.
void CheckRights(const std::string& what);

// There is a place for scratch files, and a container engine.
void CheckServer(const std::string& what);

// A container is registered that takes jobs of `priority`.
void CheckPool(const std::string& what, NAVO::VELLUMO::ContainerPoolManager::Priority priority);

}  // namespace vellumo::loader

#endif
