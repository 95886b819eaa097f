// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Endings.h"

#include <gmock/gmock.h>

namespace vellumo::loader {
namespace {

using testing::HasSubstr;

TEST(Endings, OneResultIsASuccess) {
    EXPECT_TRUE(IsSuccess(1000));
    for (const int result : {0, 999, 1001, 1002, 1003, -1}) {
        EXPECT_FALSE(IsSuccess(result)) << result;
    }
}

TEST(Endings, OfTheLibraryHaveAReasonEach) {
    EXPECT_EQ(ExplainResult(1001, "what", "tool").reason, Reason::kTimeLimit);
    EXPECT_EQ(ExplainResult(1002, "what", "tool").reason, Reason::kToolFailed);
    EXPECT_EQ(ExplainResult(1003, "what", "tool").reason, Reason::kNotPrepared);
    EXPECT_EQ(ExplainResult(7, "what", "tool").reason, Reason::kUnknownResult);
    EXPECT_THAT(ExplainResult(7, "what", "tool").why, HasSubstr("7"));
}

TEST(Endings, OnRequestHaveAReasonEach) {
    EXPECT_EQ(ExplainStop("what", Ending::Kind::kStopped).reason, Reason::kInterrupted);
    EXPECT_EQ(ExplainStop("what", Ending::Kind::kLeftBehind).reason, Reason::kLeftQueued);
    EXPECT_EQ(ExplainStop("what", Ending::Kind::kAbandoned).reason, Reason::kAbandoned);
}

TEST(Endings, OfAWorkerNameItsSignalOrStatus) {
    EXPECT_THAT(ExplainDeath("what", 9).why, HasSubstr("signal 9"));
    EXPECT_THAT(ExplainDeath("what", 3 << 8).why, HasSubstr("status 3"));
}

}  // namespace
}  // namespace vellumo::loader
