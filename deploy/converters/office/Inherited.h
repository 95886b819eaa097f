// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_INHERITED_H
#define VELLUMO_OFFICE_INHERITED_H

#include <initializer_list>
#include <vector>

namespace vellumo::office {

// The loaded office holds descriptors that every fork needs, such as the archive of its icons. Call
// this when it is loaded: those that the office can write to, through which one child could tell
// another something, lead to /dev/null then. `own` are the descriptors that are not the office's.
void SealOfficesFiles(const std::vector<int>& own);

// In a child: closes every descriptor but the office's and `kept`. What the office prints is lost.
void CloseOwnFiles(std::initializer_list<int> kept);

}  // namespace vellumo::office

#endif
