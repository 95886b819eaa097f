// SPDX-License-Identifier: Apache-2.0
#include <navo/user.h>

#include <array>
#include <cstdint>
#include <map>

#include "Accounts.h"
#include "OnDevice.h"
#include "Outcome.h"

using namespace navo::test;
using vellumo::test::Accounts;

namespace {

constexpr Failure kNoSuchUser{NAVO_ERR_NO_SUCH_USER, ENOENT, "user.cpp"};
constexpr Failure kNoSuchGroup{NAVO_ERR_NO_SUCH_GROUP, ENOENT, "user.cpp"};
constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "user.cpp"};
constexpr Failure kBadName{NAVO_ERR_BAD_PARAMETERS, EINVAL, "username.cpp"};
constexpr Failure kTooLong{NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG, "username.cpp"};

constexpr const char* kNameLikeALogin = "adam@corp.example.com";

std::vector<vellumo::test::TestAccount> AllAccounts() {
    auto accounts = vellumo::test::SomeAccounts();
    accounts.push_back({kNameLikeALogin, 1010, 1010});
    return accounts;
}

std::vector<vellumo::test::TestGroup> AllGroups() {
    auto groups = vellumo::test::SomeGroups();
    groups.push_back({"crowd", 3000, {}});
    for (int number = 0; number < 5000; ++number) {
        groups.back().members.push_back("member" + std::to_string(number));
    }
    return groups;
}

class AccountsOnDevice : public OnDeviceTest {
protected:
    void SetUp() override {
        OnDeviceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        WriteFile(kSmbConf, "[global]\n workgroup = CORP\n realm = Corp.Example.Com\n");
    }

private:
    const Accounts _accounts{AllAccounts(), AllGroups()};
};

using Conversion = int (*)(const char*, char*, size_t);

struct NameCase {
    const char* name;
    const char* converted;
};

void ExpectConverted(Conversion convert, const NameCase& expected) {
    std::array<char, 100> buffer{};
    ExpectSuccess([&] { return convert(expected.name, buffer.data(), buffer.size()); },
                  static_cast<int>(std::strlen(expected.converted)));
    EXPECT_STREQ(buffer.data(), expected.converted) << expected.name;
}

// `expected.converted` is "": there is nothing to convert, and the buffer stays.
void ExpectLeftAlone(Conversion convert, const char* name) {
    std::array<char, 100> buffer{'x'};
    ExpectSuccess([&] { return convert(name, buffer.data(), buffer.size()); }, 0);
    EXPECT_EQ(buffer[0], 'x') << name;
}

void ExpectRefusesBadParameters(Conversion convert) {
    std::array<char, 8> buffer{};
    ExpectFailure([&] { return convert(nullptr, buffer.data(), buffer.size()); }, -1, kBadName);
    ExpectFailure([&] { return convert("", buffer.data(), buffer.size()); }, -1, kBadName);
    ExpectFailure([&] { return convert("ann", nullptr, 8); }, -1, kBadName);
    ExpectFailure([&] { return convert("ann", buffer.data(), 0); }, -1, kBadName);
}

}  // namespace

TEST_F(AccountsOnDevice, AreFoundByNameAndById) {
    PNAVOUSER user = nullptr;
    for (const bool byName : {true, false}) {
        ExpectSuccess(
            [&] { return byName ? NAVOUserGet("ann", &user) : NAVOUserGetByUID(1001, &user); }, 0);
        EXPECT_STREQ(user->szName, "ann");
        EXPECT_EQ(user->uid, 1001U);
        EXPECT_EQ(user->gid, 1001U);
        EXPECT_STREQ(user->szHomeDir, "/nowhere");
        NAVOUserFree(user);
    }
    NAVOUserFree(nullptr);
}

TEST_F(AccountsOnDevice, ThatAreUnknownFail) {
    NAVOUSER untouched{};
    PNAVOUSER user = &untouched;
    for (const std::string& name :
         {std::string("nobody-such"), std::string("CORP\\nobody"), std::string(600, 'a'),
          std::string(100000, 'a'), std::string("\xff\xfe"), std::string("ann\n")}) {
        ExpectFailure([&] { return NAVOUserGet(name.c_str(), &user); }, -1, kNoSuchUser);
    }
    for (const uint32_t uid : {424242U, UINT32_MAX}) {
        ExpectFailure([&] { return NAVOUserGetByUID(uid, &user); }, -1, kNoSuchUser);
    }
    ExpectFailure([&] { return NAVOUserGet("", &user); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOUserGet(nullptr, &user); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOUserGet("ann", nullptr); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOUserGetByUID(0, nullptr); }, -1, kBadParameters);
    EXPECT_EQ(user, &untouched);
}

TEST_F(AccountsOnDevice, GroupsAreFoundByNameAndById) {
    uint32_t gid = 0;
    ExpectSuccess([&] { return NAVOGroupGetGID("CORP\\domain users", &gid); }, 0);
    EXPECT_EQ(gid, 1005U);
    PNAVOGROUP group = nullptr;
    ExpectSuccess([&] { return NAVOGroupGetByGID(2100, &group); }, 0);
    EXPECT_STREQ(group->szName, "g100");
    EXPECT_EQ(group->gid, 2100U);
    NAVOGroupFree(group);
    NAVOGroupFree(nullptr);
}

TEST_F(AccountsOnDevice, GroupsThatAreUnknownFail) {
    uint32_t gid = 77;
    PNAVOGROUP group = nullptr;
    ExpectFailure([&] { return NAVOGroupGetGID("nothing-such", &gid); }, -1, kNoSuchGroup);
    ExpectFailure([&] { return NAVOGroupGetByGID(UINT32_MAX, &group); }, -1, kNoSuchGroup);
    ExpectFailure([&] { return NAVOGroupGetGID("", &gid); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOGroupGetGID("ann", nullptr); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOGroupGetByGID(0, nullptr); }, -1, kBadParameters);
    EXPECT_EQ(gid, 77U);
    EXPECT_EQ(group, nullptr);
}

// More members than fit the first buffer that the name service is asked with.
TEST_F(AccountsOnDevice, GroupsMayHaveManyMembers) {
    uint32_t gid = 0;
    EXPECT_EQ(NAVOGroupGetGID("crowd", &gid), 0);
    EXPECT_EQ(gid, 3000U);
}

TEST_F(AccountsOnDevice, GroupsOfAUserAreTheirNamesAndNumbers) {
    NLIBCSZHASH* const hash = NLIBGroupInfoHashGet("carl", 1, 0);
    ASSERT_NE(hash, nullptr);
    std::map<std::string, std::string> groups;
    for (int32_t i = 0; i < hash->count; ++i) {
        groups[hash->items[i].szKey] = hash->items[i].szValue;
    }
    EXPECT_STREQ(hash->items[0].szKey, "carl") << "the primary one comes first";
    NLIBCSzHashFree(hash);
    EXPECT_EQ(groups.size(), 102U);
    EXPECT_EQ(groups["staff2"], "1900");
    EXPECT_EQ(groups["g100"], "2100");
    NLIBCSzHashFree(nullptr);
}

TEST_F(AccountsOnDevice, AGroupWithoutANameHasItsNumberOnly) {
    NLIBCSZHASH* const hash = NLIBGroupInfoHashGet("dora", 1, 0);
    ASSERT_NE(hash, nullptr);
    ASSERT_EQ(hash->count, 1);
    EXPECT_EQ(hash->items[0].szKey, nullptr);
    EXPECT_STREQ(hash->items[0].szValue, "1999");
    NLIBCSzHashFree(hash);
}

TEST_F(AccountsOnDevice, GroupsOfNobodyFail) {
    NLIBCSZHASH* const none = nullptr;
    ExpectFailure([] { return NLIBGroupInfoHashGet("nobody-such", 1, 0); }, none, kNoSuchUser);
    ExpectFailure([] { return NLIBGroupInfoHashGet("", 1, 0); }, none, kBadParameters);
    ExpectFailure([] { return NLIBGroupInfoHashGet("ann", 0, 0); }, none, kBadParameters);
    ExpectFailure([] { return NLIBGroupInfoHashGet("ann", 1, 1); }, none, kBadParameters);
}

TEST_F(AccountsOnDevice, LoginNamesOfTheOwnRealmBecomeDomainNames) {
    ExpectConverted(NAVOUserLoginNameConvert, {"eve@corp.example.com", "Corp.Example.Com\\eve"});
    ExpectConverted(NAVOUserLoginNameConvert, {"e@v@CORP.EXAMPLE.COM", "Corp.Example.Com\\e@v"});
    for (const char* name : {"ann", "eve@other.org", "@corp.example.com", "eve@", "CORP\\eve",
                             "CORP\\eve@corp.example.com"}) {
        ExpectLeftAlone(NAVOUserLoginNameConvert, name);
    }
    ExpectRefusesBadParameters(NAVOUserLoginNameConvert);
}

TEST_F(AccountsOnDevice, ALoginNameThatIsAnAccountsStaysAsItIs) {
    ExpectLeftAlone(NAVOUserLoginNameConvert, kNameLikeALogin);
}

TEST_F(AccountsOnDevice, ALoginNameThatDoesNotFitFails) {
    std::array<char, 22> buffer{};  // the name fits, the result does not
    EXPECT_EQ(NAVOUserLoginNameConvert("eve@corp.example.com", buffer.data(), 21), 20);
    WriteFile(kSmbConf, "[global]\n realm = corp\n");
    ExpectFailure([&] { return NAVOUserLoginNameConvert("a@corp", buffer.data(), 6); }, -1,
                  kTooLong);
}

TEST_F(AccountsOnDevice, RealNamesAreTheNameServices) {
    ExpectConverted(NLIBUserRealNameGet, {"ann", "ann"});
    ExpectConverted(NLIBUserRealNameGet, {"CORP\\eve", "CORP\\eve"});
    std::array<char, 8> buffer{};
    ExpectFailure([&] { return NLIBUserRealNameGet("nobody-such", buffer.data(), 8); }, -1,
                  {NAVO_ERR_NO_SUCH_USER, ENOENT, "username.cpp"});
    ExpectFailure([&] { return NLIBUserRealNameGet("CORP\\eve", buffer.data(), 8); }, -1, kTooLong);
    EXPECT_EQ(buffer[0], '\0');
    ExpectRefusesBadParameters(NLIBUserRealNameGet);
}

TEST_F(AccountsOnDevice, QualifiedDomainsBecomeShort) {
    for (const NameCase& expected : {NameCase{"CORP.EXAMPLE.COM\\eve", "CORP\\eve"},
                                     {"corp.example.com\\a\\b", "CORP\\a\\b"},
                                     {"other.example.com\\bob", "OTHER\\bob"},
                                     {"sixteencharacter.org\\x", "SIXTEENCHARACTE\\x"},
                                     {"CORP.\\eve", "CORP\\eve"}}) {
        ExpectConverted(NAVOWinsUserNameFqdn2Netbios, expected);
    }
    for (const char* name : {"ann", "CORP\\eve", "a.b", "\\eve", "CORP\\a.b"}) {
        ExpectLeftAlone(NAVOWinsUserNameFqdn2Netbios, name);
    }
    ExpectRefusesBadParameters(NAVOWinsUserNameFqdn2Netbios);
}

TEST_F(AccountsOnDevice, TheOwnDomainIsShortAsTheConfigurationHasIt) {
    WriteFile(kSmbConf, "[global]\n workgroup = Sales\n realm = corp.example.com\n");
    ExpectConverted(NAVOWinsUserNameFqdn2Netbios, {"CORP.example.com\\eve", "Sales\\eve"});
}

TEST_F(AccountsOnDevice, WithoutAConfigurationTheFirstLabelIsTheShortName) {
    ASSERT_EQ(unlink(kSmbConf), 0);
    ExpectConverted(NAVOWinsUserNameFqdn2Netbios, {"corp.example.com\\eve", "CORP\\eve"});
    ExpectLeftAlone(NAVOUserLoginNameConvert, "eve@corp.example.com");
}

TEST_F(AccountsOnDevice, ADomainThatCannotBeMadeShortFails) {
    std::array<char, 8> buffer{};
    ExpectFailure([&] { return NAVOWinsUserNameFqdn2Netbios(".com\\eve", buffer.data(), 8); }, -1,
                  kBadName);
    ExpectFailure([&] { return NAVOWinsUserNameFqdn2Netbios("a.b\\longer", buffer.data(), 8); }, -1,
                  kTooLong);
    EXPECT_EQ(buffer[0], '\0');
}
