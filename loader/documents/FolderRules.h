// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_FOLDERRULES_H
#define VELLUMO_LOADER_FOLDERRULES_H

#include <string_view>

// What a walk through the folders of a share looks at.
namespace vellumo::loader {

// Whether a name is hidden: begins with a dot.
bool IsHidden(std::string_view name);

// Whether other programs leave files or folders of this name: owner files of offices (names that
// begin with "~$"), recycle folders ("#recycle"), the server's own and temporary files and folders
// (names that begin with '@'). The other kinds, ".recycle" and ".~lock.NAME#", have hidden names.
bool IsLeftover(std::string_view name);

// Whether work that nobody has asked for passes over the file or folder of this name.
inline bool IsPassedOver(std::string_view name) {
    return IsHidden(name) || IsLeftover(name);
}

// Whether a converter takes files of this name.
bool IsConvertible(std::string_view name);

}  // namespace vellumo::loader

#endif
