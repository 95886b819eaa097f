// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_FILES_H
#define VELLUMO_ENGINE_FILES_H

#include <string>

namespace vellumo::engine {

// Returns the directory of the tools' settings and wrappers, in the build tree or in the
// installation. Throws Failure when it is missing.
std::string FindData();

// Returns the path of the program that sends the command of `tool` to a warm office; empty when
// there is none for that tool.
std::string FindFront(const std::string& tool);

}  // namespace vellumo::engine

#endif
