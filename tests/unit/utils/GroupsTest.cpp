// SPDX-License-Identifier: Apache-2.0
#include <navo/user.h>

#include <cstdint>

#include "Accounts.h"
#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/utils_user_group.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class Groups : public DeviceTest {
protected:
    Groups() { PlatformDouble::Get().Reset(); }
    ~Groups() override {
        NAVOUserFree(_user);
        PlatformDouble::Get().Reset();
    }
    void SetUp() override {
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
    }
    NAVOUSER* User(const char* name) {
        NAVOUserFree(_user);
        _user = nullptr;
        EXPECT_TRUE(UserGet(name, _user)) << name;
        return _user;
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
    NAVOUSER* _user = nullptr;
};

}  // namespace

TEST_F(Groups, IdAndNameBelongTogether) {
    unsigned int gid = 0;
    std::string name;
    EXPECT_TRUE(GroupToGID("CORP\\domain users", gid));
    EXPECT_EQ(gid, 1005U);
    EXPECT_TRUE(GIDToGroup(1900, name));
    EXPECT_EQ(name, "staff2");
    EXPECT_TRUE(GroupToGID("root", gid));
    EXPECT_EQ(gid, 0U);
    EXPECT_TRUE(GIDToGroup(0, name));
    EXPECT_EQ(name, "root");
}

TEST_F(Groups, UnknownNamesAndIdsFail) {
    unsigned int gid = 77;
    std::string name = "untouched";
    for (const std::string& unknown :
         {std::string("nothing-such"), std::string(), std::string("CORP\\nothing"),
          std::string(600, 'g'), std::string("\xff\xfe")}) {
        EXPECT_FALSE(GroupToGID(unknown, gid)) << unknown;
    }
    for (const unsigned int unknown : {1999U, static_cast<unsigned int>(-1), UINT32_MAX}) {
        EXPECT_FALSE(GIDToGroup(unknown, name)) << unknown;
    }
    EXPECT_EQ(gid, 77U);
    EXPECT_EQ(name, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Groups, OfAUserAreThePrimaryAndTheOthers) {
    std::set<unsigned int> gids;
    EXPECT_TRUE(UserGroupsGet(User("ann"), gids));
    EXPECT_THAT(gids, UnorderedElementsAre(1001, 1900));
}

TEST_F(Groups, OfAUserMayBeMany) {
    std::set<unsigned int> gids;
    EXPECT_TRUE(UserGroupsGet(User("carl"), gids));
    EXPECT_EQ(gids.size(), 102U);
    EXPECT_TRUE(gids.contains(2001) && gids.contains(2100));
}

TEST_F(Groups, AreAddedToThoseThatAreThere) {
    std::set<unsigned int> gids = {5, 1001};
    EXPECT_TRUE(UserGroupsGet(User("ann"), gids));
    EXPECT_THAT(gids, UnorderedElementsAre(5, 1001, 1900));
}

TEST_F(Groups, OfAUserWhoseGroupsHaveNoNameAreNone) {
    std::set<unsigned int> gids = {5};
    EXPECT_TRUE(UserGroupsGet(User("dora"), gids));
    EXPECT_THAT(gids, UnorderedElementsAre(5));
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOGroupGetGID"), IsEmpty());
}

TEST_F(Groups, ThatCannotBeResolvedAreLeftOut) {
    NAVOUSER* ann = User("ann");
    PlatformDouble::Get().Always("NAVOGroupGetGID", -1);
    std::set<unsigned int> gids = {5};
    EXPECT_TRUE(UserGroupsGet(ann, gids));
    EXPECT_THAT(gids, UnorderedElementsAre(5));
    EXPECT_EQ(PlatformDouble::Get().CallsOf("NAVOGroupGetGID").size(), 2U);
}

TEST_F(Groups, OfAnUnknownUserFail) {
    std::set<unsigned int> gids = {5};
    char name[] = "nobody-such";
    NAVOUSER stranger{};
    stranger.szName = name;
    EXPECT_FALSE(UserGroupsGet(&stranger, gids));
    EXPECT_FALSE(UserGroupsGet(nullptr, gids));
    EXPECT_THAT(gids, UnorderedElementsAre(5));
}
