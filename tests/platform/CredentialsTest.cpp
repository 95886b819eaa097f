// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <navo/acl.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <vector>

#include "Accounts.h"
#include "OnDevice.h"
#include "Outcome.h"
#include "Process.h"

using namespace navo::test;
using vellumo::test::Accounts;

namespace {

std::vector<gid_t> Groups() {
    std::vector<gid_t> groups(200);
    const int count = getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(static_cast<size_t>(std::max(count, 0)));
    return groups;
}

std::array<uid_t, 3> UserIds() {
    std::array<uid_t, 3> ids{};
    EXPECT_EQ(getresuid(ids.data(), &ids[1], &ids[2]), 0);
    return ids;
}

std::array<gid_t, 3> GroupIds() {
    std::array<gid_t, 3> ids{};
    EXPECT_EQ(getresgid(ids.data(), &ids[1], &ids[2]), 0);
    return ids;
}

// Runs `test` in a process of its own, whose ids may be spoilt.
void InChild(const std::function<void()>& test) {
    vellumo::test::ChildProcess child([&] {
        test();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.Wait(), 0) << "see the failures above";
}

class CredentialsOnDevice : public OnDeviceTest {
protected:
    void SetUp() override {
        OnDeviceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        if (const OrdinaryUser user; !user) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
    }

private:
    const Accounts _accounts{vellumo::test::SomeAccounts(), vellumo::test::SomeGroups()};
};

}  // namespace

TEST_F(CredentialsOnDevice, AreTheAccountsWithAWayBack) {
    InChild([] {
        ExpectSuccess([] { return ResetCredentialsByName("ann", true); }, true);
        EXPECT_EQ(UserIds(), (std::array<uid_t, 3>{0, 1001, 0}));
        EXPECT_EQ(GroupIds(), (std::array<gid_t, 3>{0, 1001, 0}));
        EXPECT_EQ(Groups(), (std::vector<gid_t>{1001, 1900}));
        EXPECT_EQ(seteuid(0), 0) << "root can be taken back";
    });
}

TEST_F(CredentialsOnDevice, AreTheAccountsForGood) {
    InChild([] {
        EXPECT_TRUE(ResetCredentialsByName("ann", false));
        EXPECT_EQ(UserIds(), (std::array<uid_t, 3>{1001, 1001, 1001}));
        EXPECT_EQ(GroupIds(), (std::array<gid_t, 3>{1001, 1001, 1001}));
        EXPECT_EQ(seteuid(0), -1) << "root is gone";
    });
}

TEST_F(CredentialsOnDevice, HaveAllOfAHundredGroups) {
    InChild([] {
        EXPECT_TRUE(ResetCredentialsByName("carl", true));
        EXPECT_EQ(Groups().size(), 102U);
    });
}

TEST_F(CredentialsOnDevice, OfAnUnknownUserAreRefusedAndChangeNothing) {
    const auto groups = Groups();
    for (const char* name : {"nobody-such", "CORP\\nobody", "\xff\xfe", "1001"}) {
        ExpectFailure([=] { return ResetCredentialsByName(name, true); }, false,
                      {NAVO_ERR_NO_SUCH_USER, ENOENT, "credentials.cpp"});
    }
    for (const char* name : {"", static_cast<const char*>(nullptr)}) {
        ExpectFailure([=] { return ResetCredentialsByName(name, true); }, false,
                      {NAVO_ERR_BAD_PARAMETERS, EINVAL, "credentials.cpp"});
    }
    EXPECT_EQ(UserIds(), (std::array<uid_t, 3>{0, 0, 0}));
    EXPECT_EQ(Groups(), groups);
}

TEST_F(CredentialsOnDevice, AreNotGivenToWhoIsNotRoot) {
    const OrdinaryUser user;
    ExpectFailure([] { return ResetCredentialsByName("ann", true); }, false,
                  {NAVO_ERR_NO_PERMISSION, EPERM, "credentials.cpp"});
}
