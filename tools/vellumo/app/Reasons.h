// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_REASONS_H
#define VELLUMO_TOOLS_REASONS_H

#include <optional>
#include <span>

#include "app/Messages.h"
#include "loader/Problem.h"

namespace vellumo::cli {

// What a failure below means here.
struct ReasonMeaning {
    loader::Reason reason;
    ExitCode code;
    const char* next;  // advice in terms of this command line; null where the problem's own serves
};

// For every reason, each once.
std::span<const ReasonMeaning> ReasonMeanings();

// `problem` in the terms of this command line.
Problem InOwnTerms(const loader::Problem& problem);

// Does `step`, and tells with what problem it has failed, if it has: the command line's own or one
// from below. Other exceptions pass.
template <typename Step>
std::optional<Problem> ProblemOf(Step step) {
    try {
        step();
    } catch (const Failure& failure) {
        return failure.Reason();
    } catch (const loader::Failure& failure) {
        return InOwnTerms(failure.Details());
    }
    return std::nullopt;
}

}  // namespace vellumo::cli

#endif
