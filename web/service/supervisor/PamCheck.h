// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_PAMCHECK_H
#define VELLUMO_WEB_SUPERVISOR_PAMCHECK_H

#include <string>

#include "supervisor/Findings.h"

namespace vellumo::web::supervisor {

// Which modules the service's file in `directory`, and the files that it includes, name without
// their being installed, and which package would let accounts in that only Samba knows.
Findings CheckPam(const std::string& directory);

}  // namespace vellumo::web::supervisor

#endif
