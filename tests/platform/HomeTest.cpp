// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <navo/share.h>
#include <pwd.h>
#include <unistd.h>

#include <string>

#include "OnDevice.h"
#include "Outcome.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

class HomeTest : public testing::Test {
protected:
    // Expects that `user` has no home, for the reason `failure`.
    void ExpectNone(const std::string& user, const Failure& failure) const {
        std::string home = "untouched";
        ExpectFailure([&] { return homes.PfmUserHomeFullPathGet(home, user); }, false, failure);
        EXPECT_EQ(home, "untouched");
    }

    const PortmanFileShare homes;
};

TEST_F(HomeTest, AliasIsExactlyHome) {
    ExpectSuccess([&] { return homes.IsDirUserHome("home", nullptr); }, true);
    for (const char* name : {"", "homes", "Home", "hom", "home ", "home/", "/home"}) {
        ExpectSuccess([&] { return homes.IsDirUserHome(name, nullptr); }, false);
    }
}

TEST_F(HomeTest, AliasTakesNoReservedArgument) {
    int something = 0;
    ExpectFailure([&] { return homes.IsDirUserHome("home", &something); }, false,
                  {NAVO_ERR_BAD_PARAMETERS, EINVAL, "home.cpp"});
}

TEST_F(HomeTest, RefusesNamesThatWouldLeadOutOfTheHomes) {
    for (const std::string& user :
         {std::string(), std::string("."), std::string(".."), std::string("../root"),
          std::string("/"), std::string("a/b"), std::string("root\0x", 6)}) {
        SCOPED_TRACE(user);
        ExpectNone(user, {NAVO_ERR_BAD_PARAMETERS, EINVAL, "home.cpp"});
    }
}

TEST_F(HomeTest, NeedsAnAccount) {
    ExpectNone("no-such-user", {NAVO_ERR_NO_SUCH_USER, ENOENT, "home.cpp"});
}

class HomeOnDevice : public OnDeviceTest {
protected:
    void ExpectHome(const std::string& expected) const {
        std::string home;
        ExpectSuccess([&] { return homes.PfmUserHomeFullPathGet(home, "root"); }, true);
        EXPECT_EQ(home, expected);
    }

    const PortmanFileShare homes;
};

TEST_F(HomeOnDevice, IsWhatTheConfigurationSays) {
    WriteFile(kSmbConf, "[homes]\n  path = /volume1/homes/%S/\n");
    ExpectHome("/volume1/homes/root");
}

TEST_F(HomeOnDevice, IsTheAccountsOwnWithoutAPath) {
    WriteFile(kSmbConf, "[homes]\n  browseable = no\n");
    ExpectHome(getpwnam("root")->pw_dir);
}

TEST_F(HomeOnDevice, NeedsAConfigurationThatCanBeRead) {
    std::string home = "untouched";
    const auto call = [&] { return homes.PfmUserHomeFullPathGet(home, "root"); };
    WriteFile(kSmbConf, "[homes]\n  path = /volume1/%D/%S\n");
    ExpectFailure(call, false, {NAVO_ERR_CONFIG, EINVAL, "home.cpp"});
    ASSERT_EQ(unlink(kSmbConf), 0);
    ExpectFailure(call, false, {NAVO_ERR_CONFIG, ENOENT, "home.cpp"});
    EXPECT_EQ(home, "untouched");
}

}  // namespace
}  // namespace navo::test
