// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ACCESS_H
#define VELLUMO_LOADER_ACCESS_H

#include <string>

#include "loader/Problem.h"
#include "loader/documents/Document.h"

namespace vellumo::loader {

// Throws Failure unless `document.user` may read the document: Samba's configuration has to admit
// the user to the share and to the path, no link may lead out of the share, and the kernel has to
// let the user read what lies there. The kernel answers for the file that it finds on the way with
// the user's own ids, so nobody can put another file there between two questions. Needs the rights
// of root; the process's ids change for a moment.
//
// `address`: of the host that asks; "" when it is not known, and then no list of hosts is asked.
void CheckAccess(const Document& document, const std::string& address = "");

// The same, and returns the very file that the user may read. Whatever is given out for the
// document must belong to this file: its path may be another file's by now.
OpenedPlace OpenFor(const Document& document, const std::string& address = "");

// The setting of /etc/samba/smb.conf behind `reason`, such as "valid users"; null for a reason that
// no setting of a share is behind.
const char* SettingOf(Reason reason);

// The section of Samba's configuration that has these settings.
std::string SectionOf(const Document& document);

}  // namespace vellumo::loader

#endif
