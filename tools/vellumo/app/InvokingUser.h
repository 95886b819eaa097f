// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_INVOKINGUSER_H
#define VELLUMO_TOOLS_INVOKINGUSER_H

#include <string>

namespace vellumo::cli {

// The login name of the user who runs the program; "" when the user has no account.
std::string InvokingUser();

}  // namespace vellumo::cli

#endif
