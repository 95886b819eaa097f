// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_FILES_H
#define VELLUMO_ENGINE_FILES_H

#include <string>

namespace vellumo::engine {

// The directory of the settings and replacements that the tools get, in a build tree or where the
// engine is installed. Throws Failure when it is missing.
std::string FindData();

// The program that asks a warm office in place of `tool`; empty when there is none for it.
std::string FindFront(const std::string& tool);

}  // namespace vellumo::engine

#endif
