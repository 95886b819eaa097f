// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/utils.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;

// The root scope is not exported; IsFileValidSize is its smallest user.
namespace {

constexpr uid_t kUser = 65534;
constexpr gid_t kGroup = 65533;

class RootScope : public DeviceTest {
protected:
    RootScope() {
        PlatformDouble::Get().Reset();
        WriteFile("/volume1/docs/secret.pdf", "more than ten bytes");
    }
    ~RootScope() override {
        PlatformDouble::Get().Reset();
        EXPECT_TRUE(SetEffectiveUser(0));
        EXPECT_TRUE(SetEffectiveGroup(0));
    }
    static void BecomeUser() {
        ASSERT_TRUE(SetEffectiveGroup(kGroup));
        ASSERT_TRUE(SetEffectiveUser(kUser));
        PlatformDouble::Get().Reset();
    }
    static void FailWhen(const std::string& operation, const std::string& id) {
        PlatformDouble::Get().SetAnswer([=](const PlatformCall& call) -> std::optional<int> {
            if (call.operation != operation || call.arguments[0] != id) {
                return std::nullopt;
            }
            return -1;
        });
    }
    static std::vector<std::string> IdChanges() {
        std::vector<std::string> changes;
        for (const PlatformCall& call : PlatformDouble::Get().Calls()) {
            if (call.operation == "setresuid" || call.operation == "setresgid") {
                changes.push_back(call.operation + " " + call.arguments[0]);
            }
        }
        return changes;
    }
};

}  // namespace

TEST_F(RootScope, OfRootChangesNothing) {
    EXPECT_TRUE(IsFileValidSize("/volume1/docs/secret.pdf"));
    EXPECT_THAT(IdChanges(), testing::IsEmpty());
}

TEST_F(RootScope, OfAUserTakesRootAndGivesTheIdsBack) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    chmod("/volume1/docs", 0700);
    BecomeUser();
    EXPECT_TRUE(IsFileValidSize("/volume1/docs/secret.pdf"));
    EXPECT_EQ(geteuid(), kUser);
    EXPECT_EQ(getegid(), kGroup);
    EXPECT_THAT(IdChanges(), testing::ElementsAre("setresuid 0", "setresgid 0", "setresuid 0",
                                                  "setresgid 65533", "setresuid 65534"));
}

TEST_F(RootScope, LeavesRealAndSavedIdsAlone) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    BecomeUser();
    IsFileValidSize("/volume1/docs/secret.pdf");
    uid_t real = 1;
    uid_t effective = 1;
    uid_t saved = 1;
    ASSERT_EQ(getresuid(&real, &effective, &saved), 0);
    EXPECT_EQ(real, 0U);
    EXPECT_EQ(effective, kUser);
    EXPECT_EQ(saved, 0U);
}

TEST_F(RootScope, ThatCannotTakeRootSkipsItsStepAndSaysSoTwice) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    BecomeUser();
    FailWhen("setresuid", "0");
    errno = 0;
    EXPECT_FALSE(IsFileValidSize("/volume1/docs/secret.pdf"));
    EXPECT_THAT(SyslogSink::Get().Messages(),
                testing::ElementsAre(
                    LogMessage{LOG_AUTH | LOG_ERR, "utils:126 ERROR: IF_RUN_AS(0, 0)"},
                    LogMessage{LOG_USER | LOG_ERR, Logged("utils", 126, "cannot run as root")}));
    EXPECT_EQ(geteuid(), kUser);
    EXPECT_EQ(getegid(), kGroup);
}

TEST_F(RootScope, ThatCannotTakeRootsGroupGivesTheUserBack) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    BecomeUser();
    FailWhen("setresgid", "0");
    EXPECT_FALSE(IsFileValidSize("/volume1/docs/secret.pdf"));
    EXPECT_EQ(geteuid(), kUser);
    EXPECT_EQ(getegid(), kGroup);
}

TEST_F(RootScope, ThatCannotGiveTheIdsBackIsCritical) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    BecomeUser();
    FailWhen("setresgid", std::to_string(kGroup));
    EXPECT_TRUE(IsFileValidSize("/volume1/docs/secret.pdf"));
    EXPECT_THAT(SyslogSink::Get().Messages(),
                testing::ElementsAre(
                    LogMessage{LOG_AUTH | LOG_CRIT, "utils:126 ERROR: ~IF_RUN_AS(65534, 65533)"}));
}
