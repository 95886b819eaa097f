// SPDX-License-Identifier: Apache-2.0
#include "app/Reasons.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

namespace vellumo::cli {
namespace {

TEST(Reasons, EachHasOneMeaningOnTheCommandLine) {
    for (const loader::ReasonEntry& entry : loader::Reasons()) {
        const auto meanings = ReasonMeanings();
        EXPECT_EQ(std::count_if(
                      meanings.begin(), meanings.end(),
                      [&](const ReasonMeaning& meaning) { return meaning.reason == entry.reason; }),
                  1)
            << entry.name;
    }
    EXPECT_EQ(ReasonMeanings().size(), loader::Reasons().size());
}

TEST(Reasons, KeepTheAdviceFromBelowWhereTheCommandLineHasNone) {
    const Problem problem =
        InOwnTerms({loader::Reason::kEmpty, "what", "why", "next", {"the tool's words"}});
    EXPECT_EQ(problem.code, ExitCode::kBadInput);
    EXPECT_EQ(problem.what, "what");
    EXPECT_EQ(problem.why, "why");
    EXPECT_EQ(problem.next, "next");
    EXPECT_EQ(problem.toolOutput, std::vector<std::string>{"the tool's words"});
}

TEST(Reasons, GiveAdviceInTheCommandLinesOwnTermsWhereItHasAny) {
    EXPECT_THAT(InOwnTerms({loader::Reason::kFailedBefore, "", "", "next"}).next,
                testing::HasSubstr("--refresh"));
}

TEST(Reasons, AreTakenFromFailuresOfBothFloorsAndFromNothingElse) {
    EXPECT_FALSE(ProblemOf([] {}));
    EXPECT_EQ(ProblemOf([] {
                  throw Failure({ExitCode::kUsage, "", "", "", {}});
              })->code,
              ExitCode::kUsage);
    EXPECT_EQ(ProblemOf([] {
                  throw loader::Failure({loader::Reason::kTimeLimit, "", "", ""});
              })->code,
              ExitCode::kTimeLimit);
    EXPECT_THROW(ProblemOf([] { throw std::runtime_error(""); }), std::runtime_error);
}

}  // namespace
}  // namespace vellumo::cli
