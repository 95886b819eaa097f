// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_ADVICE_H
#define VELLUMO_TOOLS_ADVICE_H

#include <string>
#include <vector>

#include "loader/failures/Explanation.h"

namespace vellumo::cli {

// What the person who asks about the document can do, each as a sentence; never empty.
std::vector<std::string> AdviceOn(const loader::Explanation& explanation);

}  // namespace vellumo::cli

#endif
