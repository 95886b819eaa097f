// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_CONFINEMENT_H
#define VELLUMO_WEB_FRONT_CONFINEMENT_H

#include <string>

#include "support/Descriptor.h"

namespace vellumo::web::front {

// Takes from the process, which is root's, all that the front does not need: it becomes `user`, has
// no capabilities and cannot get any, sees `root` as the only directory of the system, and may use
// only the system calls of a server that opens no file and starts no program. Throws
// std::runtime_error when a part of this fails.
void Confine(const std::string& user, const support::Descriptor& root);

}  // namespace vellumo::web::front

#endif
