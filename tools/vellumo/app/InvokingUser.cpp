// SPDX-License-Identifier: Apache-2.0
#include "app/InvokingUser.h"

#include <pwd.h>
#include <unistd.h>

namespace vellumo::cli {

std::string InvokingUser() {
    const passwd* account = getpwuid(getuid());
    return account == nullptr ? "" : account->pw_name;
}

}  // namespace vellumo::cli
