// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ENDINGS_H
#define VELLUMO_LOADER_ENDINGS_H

#include <string>

#include "loader/Problem.h"
#include "loader/conversion/Watch.h"

// The problems of conversions without a product. `what` becomes Problem::what: what failed, and for
// which path.
namespace vellumo::loader {

// Whether `result`, returned by a service of the library, means success.
bool IsSuccess(int result);

// The library's service returned `result`, which is not success. `tools`: the programs that it
// runs.
Problem ExplainResult(int result, const std::string& what, const std::string& tools);

// The engine did not run the tool, or not to its end. `words`: the last line that it wrote.
Problem ExplainEngine(const std::string& what, const std::string& words);

// The worker died without a report. `status`: its wait status.
Problem ExplainDeath(const std::string& what, int status);

// The conversion was stopped on request; `kind` says what became of its job.
Problem ExplainStop(const std::string& what, Ending::Kind kind);

// The service succeeded, but no product is kept for the document.
Problem ExplainNothingKept(const std::string& what);

}  // namespace vellumo::loader

#endif
