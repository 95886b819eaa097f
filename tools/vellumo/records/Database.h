// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_DATABASE_H
#define VELLUMO_TOOLS_DATABASE_H

#include <string>

namespace vellumo::cli {

// Throws Failure, with `what` as its Problem::what, for the database `file`. The library writes the
// reason to the system log only; this adds what the permissions of the file show.
[[noreturn]] void RefuseDatabase(const std::string& what, const std::string& file);

}  // namespace vellumo::cli

#endif
