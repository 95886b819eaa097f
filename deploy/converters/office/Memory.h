// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_MEMORY_H
#define VELLUMO_OFFICE_MEMORY_H

namespace vellumo::office {

// Throws Failure when the machine or the container has too little memory for an office that stays
// in memory and a fork of it.
void CheckMemory();

}  // namespace vellumo::office

#endif
