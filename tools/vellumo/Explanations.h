// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_EXPLANATIONS_H
#define VELLUMO_TOOLS_EXPLANATIONS_H

#include <string>

#include "Conversion.h"
#include "Messages.h"

namespace vellumo::cli {

// What a person is told about a conversion without a product; `what` is what failed, on which path.

// The library's service answered `result`, and `tool` is the program that it ran.
Problem ExplainResult(int result, const std::string& what, const std::string& tool);

// The worker died with the wait status `status`.
Problem ExplainDeath(const std::string& what, int status);

// The watch ended by an interrupt.
Problem ExplainInterrupt(const std::string& what, Ending::Kind kind);

// The service succeeded, and yet nothing is kept beside the document.
Problem ExplainNothingKept(const std::string& what);

// The thumbnail has failed before, and the document has not changed since.
Problem ExplainEarlierFailure(const std::string& what);

}  // namespace vellumo::cli

#endif
