// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_SHARECHECK_H
#define VELLUMO_WEB_SUPERVISOR_SHARECHECK_H

#include "supervisor/Findings.h"

namespace vellumo::web::supervisor {

// Which shares have no folder, or one that none of this machine's accounts may list: Samba's lists
// and the kernel's permissions both count. Accounts that only a domain knows are not asked, so this
// is a hint. Becomes each account in a child process.
Findings CheckShares();

}  // namespace vellumo::web::supervisor

#endif
