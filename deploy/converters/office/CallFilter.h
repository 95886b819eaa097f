// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_CALLFILTER_H
#define VELLUMO_OFFICE_CALLFILTER_H

namespace vellumo::office {

// Leaves the calling process the system calls that a conversion needs; every other one fails with
// EPERM from now on. It can start threads, but no process. Throws Failure when that is not
// possible.
void FilterCalls();

}  // namespace vellumo::office

#endif
