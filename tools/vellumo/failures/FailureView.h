// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FAILUREVIEW_H
#define VELLUMO_TOOLS_FAILUREVIEW_H

#include <json/value.h>

#include <string>
#include <vector>

#include "loader/failures/FailureMemory.h"

// A remembered failure for people and for programs.
namespace vellumo::cli {

// "2027-01-15T08:10:00Z"; for a failure that is not tried again by itself, "never".
std::string NextTry(const loader::RememberedFailure& failure);

// The tool's last lines.
std::vector<std::string> WordsOf(const loader::RememberedFailure& failure);

Json::Value ToJson(const loader::RememberedFailure& failure);

}  // namespace vellumo::cli

#endif
