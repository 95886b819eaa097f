// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_REPORT_H
#define VELLUMO_TOOLS_REPORT_H

#include <string>
#include <vector>

#include "app/Command.h"
#include "convert/Job.h"

namespace vellumo::cli {

// What a call has come to, in a line for people.
std::string Summary(const Tally& tally);

// The same for programs, document by document. The call ends like the first document that failed,
// or with the interrupt when there was one.
CommandResult ResultOf(const std::vector<Job>& jobs);

}  // namespace vellumo::cli

#endif
