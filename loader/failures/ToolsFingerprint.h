// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_TOOLSFINGERPRINT_H
#define VELLUMO_LOADER_TOOLSFINGERPRINT_H

#include <string>

namespace vellumo::loader {

// A text that changes when the conversion tools do; "" when it cannot be found out. With the
// embedded engine, the sizes and times of the programs; with a container engine, the ids of the
// images of the registered containers.
//
// Takes about a millisecond with the embedded engine. A container engine's client runs once, for at
// most 2 seconds. The process remembers the answer, an unknown one too, for 10 minutes.
std::string ToolsFingerprint();

// The same without the process's memory.
std::string FindToolsFingerprint();

}  // namespace vellumo::loader

#endif
