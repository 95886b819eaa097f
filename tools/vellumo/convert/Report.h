// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_REPORT_H
#define VELLUMO_TOOLS_REPORT_H

#include <string>
#include <vector>

#include "app/Command.h"
#include "convert/Job.h"

namespace vellumo::cli {

// The outcome of a command as one line for people.
std::string Summary(const Tally& tally);

// The outcome for programs, document by document. The exit status is that of the first document
// that failed, or that of an interrupt if there was one.
CommandResult ResultOf(const Jobs& jobs);

}  // namespace vellumo::cli

#endif
