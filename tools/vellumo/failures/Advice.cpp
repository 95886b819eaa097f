// SPDX-License-Identifier: Apache-2.0
#include "failures/Advice.h"

#include <algorithm>

#include "app/Reasons.h"
#include "loader/Text.h"

namespace vellumo::cli {
namespace {

using loader::ProductState;
using When = loader::Retry::When;

struct ReasonAdvice {
    const char* reason;
    const char* advice;
};

constexpr ReasonAdvice kAdvice[] = {
    {"tool-failed",
     "Open the document with its own program: it may be damaged, protected by a password, or not "
     "of "
     "the type that its name says. Save it again there."},
    {"time-limit",
     "Convert fewer pages, as in 'vellumo pdf --pages 1-10', or divide the document."},
    {"worker-died",
     "Look into the system log for the reason: journalctl -t vellumo; dmesg, if memory is short."},
};

// With whose home folder it is, where the path alone does not tell.
std::string Command(const std::string& product, const loader::Document& document) {
    const bool isInHome = loader::ShareOf(document.sharePath) == "home";
    return "vellumo " + product + " " + loader::ShellWord(document.sharePath) +
           (isInHome ? " --user " + loader::ShellWord(document.user) : "");
}

void Add(std::vector<std::string>& advice, const std::string& sentence) {
    if (!sentence.empty() && std::find(advice.begin(), advice.end(), sentence) == advice.end()) {
        advice.push_back(sentence);
    }
}

void AddForFailure(const ProductState& state, const loader::Document& document,
                   std::vector<std::string>& advice) {
    const auto* const found = std::find_if(
        std::begin(kAdvice), std::end(kAdvice),
        [&state](const ReasonAdvice& entry) { return state.failure->reason == entry.reason; });
    Add(advice, found != std::end(kAdvice) ? found->advice : "");
    Add(advice, "Try it again at once: " + Command(state.product, document) + " --refresh");
}

void AddForProduct(const ProductState& state, const loader::Document& document,
                   std::vector<std::string>& advice) {
    if (state.kept == ProductState::Kept::kFresh) {
        return;
    }
    if (state.failure && state.retry.when != When::kNow) {
        AddForFailure(state, document, advice);
    } else {
        Add(advice, "Make it: " + Command(state.product, document));
    }
}

}  // namespace

std::vector<std::string> AdviceOn(const loader::Explanation& explanation) {
    std::vector<std::string> advice;
    if (explanation.refusal) {
        Add(advice, InOwnTerms(*explanation.refusal).next);
    } else if (explanation.work && explanation.work->IsAny()) {
        Add(advice, "Wait until the conversion has ended; 'vellumo pool' lists the jobs.");
    } else {
        for (const ProductState& state : explanation.products) {
            AddForProduct(state, *explanation.document, advice);
        }
    }
    for (const loader::Problem& problem : explanation.problems) {
        Add(advice, InOwnTerms(problem).next);
    }
    if (advice.empty()) {
        Add(advice, "Nothing.");
    }
    return advice;
}

}  // namespace vellumo::cli
