// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_INVOKINGUSER_H
#define VELLUMO_TOOLS_INVOKINGUSER_H

#include <string>

namespace vellumo::cli {

// The login name of the account that runs the program, "" for an account without one.
std::string InvokingUser();

}  // namespace vellumo::cli

#endif
