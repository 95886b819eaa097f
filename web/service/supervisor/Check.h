// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_CHECK_H
#define VELLUMO_WEB_SUPERVISOR_CHECK_H

#include "supervisor/Findings.h"
#include "supervisor/Settings.h"

namespace vellumo::web::supervisor {

// What keeps the service from starting with these settings: a missing account, page or PAM file, a
// proxy that cannot be trusted.
std::vector<std::string> ObstaclesOf(const Settings& settings);

// The same, and what an administrator should know before the service starts: a place at which it
// cannot listen, modules of PAM that are not installed, an address that anybody may claim, shares
// that nobody may read. Changes nothing. Starts processes, and takes a few seconds with many
// accounts.
Findings Check(const Settings& settings);

}  // namespace vellumo::web::supervisor

#endif
