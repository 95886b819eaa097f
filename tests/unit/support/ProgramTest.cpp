// SPDX-License-Identifier: Apache-2.0
#include "support/Program.h"

#include <gmock/gmock.h>

namespace vellumo::support {
namespace {

using std::chrono::seconds;
using testing::HasSubstr;

TEST(Program, AnswersWithItsStatusAndAllThatItWrote) {
    const Answer answer = Ask("/bin/sh", {"-c", "echo out; echo err >&2; exit 3"}, seconds(30));
    EXPECT_EQ(answer.status, 3);
    EXPECT_EQ(answer.output, "out\nerr");
}

TEST(Program, IsKilledWhenItTakesTooLong) {
    const Answer answer = Ask("/bin/sleep", {"600"}, seconds(1));
    EXPECT_EQ(answer.status, -1);
    EXPECT_EQ(answer.output, "no answer within 1 seconds");
}

TEST(Program, ThatIsMissingIsNamedWithTheReason) {
    const Answer answer = Ask("/nowhere/missing", {}, seconds(30));
    EXPECT_EQ(answer.status, -1);
    EXPECT_EQ(answer.output, "/nowhere/missing: No such file or directory");
}

TEST(Program, EndedByASignalHasNoStatus) {
    EXPECT_EQ(Ask("/bin/sh", {"-c", "kill -9 $$"}, seconds(30)).status, -1);
}

TEST(Program, RunsInSightOnTheStandardError) {
    testing::internal::CaptureStderr();
    const Answer answer = RunInSight("/bin/sh", {"-c", "echo seen; exit 4"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "seen\n");
    EXPECT_EQ(answer.status, 4);
    EXPECT_EQ(answer.output, "");
}

}  // namespace
}  // namespace vellumo::support
