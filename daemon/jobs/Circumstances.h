// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_CIRCUMSTANCES_H
#define VELLUMO_DAEMON_CIRCUMSTANCES_H

#include "loader/Problem.h"

namespace vellumo::daemon {

// Whether `problem` is no fault of the document: the same conversion can succeed later.
bool IsCircumstance(const loader::Problem& problem);

// Whether it would meet every other document too, so that trying them makes no sense now.
bool IsOfServer(const loader::Problem& problem);

}  // namespace vellumo::daemon

#endif
