// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ENDINGS_H
#define VELLUMO_LOADER_ENDINGS_H

#include <string>

#include "loader/Problem.h"
#include "loader/conversion/Watch.h"

// What a conversion without a product came to. `what`: what failed, and for which path.
namespace vellumo::loader {

// Whether `result`, of one of the library's services, is its success.
bool IsSuccess(int result);

// The library's service returned `result`; `tools` are the programs that it runs.
Problem ExplainResult(int result, const std::string& what, const std::string& tools);

// The worker died with the wait status `status`.
Problem ExplainDeath(const std::string& what, int status);

// The watch ended on request, in one of the ways of `kind`.
Problem ExplainStop(const std::string& what, Ending::Kind kind);

// The service succeeded, and yet nothing is kept for the document.
Problem ExplainNothingKept(const std::string& what);

// The thumbnail has failed before, and the document has not changed since.
Problem ExplainEarlierFailure(const std::string& what);

}  // namespace vellumo::loader

#endif
