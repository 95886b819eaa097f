// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_REASONS_H
#define VELLUMO_TOOLS_REASONS_H

#include <optional>
#include <span>

#include "app/Messages.h"
#include "loader/Problem.h"

namespace vellumo::cli {

// What a reason of the loader means on the command line.
struct ReasonMeaning {
    loader::Reason reason;
    ExitCode code;
    const char* next;  // advice in terms of this program; null: the problem's own advice is used
};

// One row for every reason.
std::span<const ReasonMeaning> ReasonMeanings();

// `problem` with the exit status and the advice of this program.
Problem InOwnTerms(const loader::Problem& problem);

// Runs `step` and returns the problem with which it failed, thrown by the program or by the loader;
// null if it succeeded. Other exceptions pass through.
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
