// SPDX-License-Identifier: Apache-2.0
#include <navo/user.h>
#include <syslog.h>

#include <cstdint>

#include "Accounts.h"
#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/utils_user_group.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

class Users : public DeviceTest {
protected:
    Users() { PlatformDouble::Get().Reset(); }
    ~Users() override { PlatformDouble::Get().Reset(); }
    void SetUp() override {
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        WriteFile("/etc/samba/smb.conf",
                  "[global]\n workgroup = CORP\n realm = corp.example.com\n");
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

// The names that the platform was asked about, with the operation.
std::vector<std::string> Asked() {
    std::vector<std::string> asked;
    for (const PlatformCall& call : PlatformDouble::Get().Calls()) {
        asked.push_back(call.operation + " " + call.arguments[0]);
    }
    return asked;
}

struct NameCase {
    const char* name;
    const char* realName;
};

}  // namespace

TEST_F(Users, RealNameIsTheAccounts) {
    const NameCase cases[] = {
        {"ann", "ann"},
        {"root", "root"},
        {"CORP\\eve", "CORP\\eve"},
        {"CORP.EXAMPLE.COM\\eve", "CORP\\eve"},
        {"corp.example.com\\eve", "CORP\\eve"},
        {"corp.other.org\\eve", "CORP\\eve"},
        {"eve@corp.example.com", "CORP\\eve"},
        {"eve@CORP.EXAMPLE.COM", "CORP\\eve"},
    };
    for (const NameCase& expected : cases) {
        EXPECT_EQ(GetRealUsername(expected.name), expected.realName) << expected.name;
    }
}

TEST_F(Users, RealNameOfAnUnknownLocalUserIsTheNameItself) {
    for (const char* name :
         {"nobody-such", "Ann", "", "eve@other.example.com", "\xff\xfe", " ann"}) {
        EXPECT_EQ(GetRealUsername(name), name);
    }
}

TEST_F(Users, RealNameOfAnUnknownDomainUserIsEmpty) {
    for (const char* name : {"CORP\\nobody", "CORP\\ann", "CORP\\", "\\ann", "\\", "OTHER\\eve",
                             ".corp\\eve", "OTHER.EXAMPLE.COM\\eve", "CORP\\\xff"}) {
        EXPECT_EQ(GetRealUsername(name), "") << name;
    }
}

TEST_F(Users, RealNameOfNullIsEmptyWithoutAQuestion) {
    EXPECT_EQ(GetRealUsername(nullptr), "");
    EXPECT_THAT(PlatformDouble::Get().Calls(), IsEmpty());
}

TEST_F(Users, LocalNameIsAskedForInThisOrder) {
    EXPECT_EQ(GetRealUsername("nobody-such"), "nobody-such");
    EXPECT_THAT(Asked(), ElementsAre("NAVOUserLoginNameConvert nobody-such",
                                     "NLIBUserRealNameGet nobody-such", "NAVOUserGet nobody-such"));
}

TEST_F(Users, LocalNameFallsBackToTheRecordsName) {
    PlatformDouble::Get().Always("NLIBUserRealNameGet", -1);
    EXPECT_EQ(GetRealUsername("ann"), "ann");
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOUserGet"), testing::SizeIs(1));
}

TEST_F(Users, DomainNameIsAskedForOnlyAsADomains) {
    EXPECT_EQ(GetRealUsername("CORP\\nobody"), "");
    EXPECT_THAT(Asked(), ElementsAre("NAVOUserLoginNameConvert CORP\\nobody",
                                     "NAVOWinsUserNameFqdn2Netbios CORP\\nobody",
                                     "NLIBUserRealNameGet CORP\\nobody"));
}

TEST_F(Users, FullyQualifiedDomainIsMadeShort) {
    GetRealUsername("CORP.EXAMPLE.COM\\eve");
    EXPECT_THAT(Asked(), ElementsAre("NAVOUserLoginNameConvert CORP.EXAMPLE.COM\\eve",
                                     "NAVOWinsUserNameFqdn2Netbios CORP.EXAMPLE.COM\\eve",
                                     "NLIBUserRealNameGet CORP\\eve"));
}

TEST_F(Users, LongNameIsCutBeforeAnyLookUp) {
    const std::string cut(492, 'a');
    EXPECT_EQ(GetRealUsername(std::string(600, 'a').c_str()), cut);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBUserRealNameGet").front().arguments,
                ElementsAre(cut, "493"));
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOUserGet").front().arguments, ElementsAre(cut));
}

TEST_F(Users, LongDomainNameIsCutBeforeAnyLookUp) {
    const std::string name = "CORP\\" + std::string(600, 'a');
    EXPECT_EQ(GetRealUsername(name.c_str()), "");
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBUserRealNameGet").front().arguments,
                ElementsAre(name.substr(0, 492), "493"));
}

TEST_F(Users, RecordIsTheRealNames) {
    NAVOUSER* user = nullptr;
    ASSERT_TRUE(UserGet("CORP.EXAMPLE.COM\\eve", user));
    EXPECT_STREQ(user->szName, "CORP\\eve");
    EXPECT_EQ(user->uid, 1005U);
    NAVOUserFree(user);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Users, RecordOfAnUnknownUserFailsWithAMessageWithoutProcessId) {
    NAVOUSER untouched{};
    NAVOUSER* user = &untouched;
    for (const char* name : {"nobody-such", "CORP\\nobody", "\xff"}) {
        errno = 0;
        EXPECT_FALSE(UserGet(name, user)) << name;
        EXPECT_THAT(SyslogSink::Get().Messages(),
                    ElementsAre(testing::AllOf(
                        testing::Field(&LogMessage::priority, LOG_USER | LOG_ERR),
                        testing::Field(&LogMessage::text,
                                       MatchesRegex("utils_user_group:[0-9]+ No such user "
                                                    "\\[(nobody-such||\xff|\\\\37[67])\\]")))));
    }
    EXPECT_FALSE(UserGet(nullptr, user));
    EXPECT_FALSE(UserGet("", user));
    EXPECT_EQ(user, &untouched);
}

TEST_F(Users, RecordCountsAsFoundUnlessThePlatformAnswersMinusOne) {
    PlatformDouble::Get().Always("NAVOUserGet", -2);
    NAVOUSER* user = nullptr;
    EXPECT_TRUE(UserGet("ann", user));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Users, IdIsTheRealNames) {
    unsigned int uid = 0;
    EXPECT_TRUE(UserToUID("ann", uid));
    EXPECT_EQ(uid, 1001U);
    EXPECT_TRUE(UserToUID("eve@corp.example.com", uid));
    EXPECT_EQ(uid, 1005U);
    EXPECT_TRUE(UserToUID("root", uid));
    EXPECT_EQ(uid, 0U);
}

TEST_F(Users, IdOfAnUnknownUserFailsSilently) {
    unsigned int uid = 77;
    for (const std::string& name : {std::string("nobody-such"), std::string(),
                                    std::string("CORP\\nobody"), std::string(600, 'x')}) {
        EXPECT_FALSE(UserToUID(name, uid)) << name;
    }
    PlatformDouble::Get().Always("NAVOUserGet", -2);
    EXPECT_FALSE(UserToUID("ann", uid)) << "any answer but 0 is a failure here";
    EXPECT_EQ(uid, 77U);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Users, NameOfAnIdIsTheAccounts) {
    std::string name;
    EXPECT_TRUE(UIDToUser(1005, name));
    EXPECT_EQ(name, "CORP\\eve");
    EXPECT_TRUE(UIDToUser(0, name));
    EXPECT_EQ(name, "root");
}

TEST_F(Users, NameOfAnUnknownIdFails) {
    std::string name = "untouched";
    EXPECT_FALSE(UIDToUser(4242, name));
    EXPECT_FALSE(UIDToUser(static_cast<unsigned int>(-1), name));
    EXPECT_FALSE(UIDToUser(UINT32_MAX, name));
    EXPECT_EQ(name, "untouched");
}
