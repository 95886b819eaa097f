// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_DATABASE_H
#define VELLUMO_TOOLS_DATABASE_H

#include <string>

namespace vellumo::cli {

// Throws Failure: `what` could not be done with the database `file`. The library tells the system
// log why; here is said what can be seen from outside.
[[noreturn]] void RefuseDatabase(const std::string& what, const std::string& file);

}  // namespace vellumo::cli

#endif
