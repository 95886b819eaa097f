// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_LINKTARGET_H
#define VELLUMO_LOADER_LINKTARGET_H

#include <string>

#include "loader/documents/Document.h"

namespace vellumo::loader {

// The document at `sharePath` as a visitor of a link of `user` gets it. No symbolic link below the
// share's folder is followed: whoever may write to a shared folder could otherwise put a link there
// to what the owner may read elsewhere. Throws Failure as Resolve().
Document ResolveForVisitor(const std::string& sharePath, const std::string& user);

// Whether `sharePath` is a folder. Throws Failure unless `user` may share it: it is a file that the
// user may read, or a folder that the user may list, by Samba's configuration and by the kernel.
// `address`: see CheckAccess, also for what happens to the process's ids.
bool IsSharedFolder(const std::string& sharePath, const std::string& user,
                    const std::string& address = "");

}  // namespace vellumo::loader

#endif
