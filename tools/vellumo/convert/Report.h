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

// The outcome of one job for programs.
Json::Value ToJson(const Job& job);

// The outcome for programs, document by document. The exit status is that of an interrupt if there
// was one, else that of the time limit of the run if it was reached, else that of the first
// document that failed.
CommandResult ResultOf(const Jobs& jobs);

}  // namespace vellumo::cli

#endif
