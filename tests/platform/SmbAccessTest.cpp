// SPDX-License-Identifier: Apache-2.0
#include "smbaccess.h"

#include <gtest/gtest.h>

#include <string>

#include "Accounts.h"
#include "OnDevice.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

using namespace NAVO::platform;

class SmbPlaceTest : public DirectoryTest {
protected:
    SmbConf Load(const std::string& text) const {
        WriteFile(At("smb.conf"), text);
        return SmbConf::Load(At("smb.conf")).value();
    }

    void ExpectFile(const std::string& text, const std::string& share, const std::string& path,
                    const ServiceFile& expected) const {
        const SmbConf configuration = Load(text);
        const auto file = FindShareFile(configuration, share, path, "ann");
        ASSERT_TRUE(file);
        EXPECT_EQ(file->service, expected.service);
        EXPECT_EQ(file->root, expected.root);
        EXPECT_EQ(file->path, expected.path);
    }

    unsigned Links(const std::string& global, const std::string& docs) const {
        const SmbConf configuration = Load("[global]\n" + global + "[docs]\npath = /d\n" + docs);
        return LinksOf(configuration, *FindShareFile(configuration, "docs", "a", "ann"));
    }
};

TEST_F(SmbPlaceTest, IsBelowTheShare) {
    ExpectFile("[Docs]\npath = /volume1/docs\n", "docs", "/x//a.docx",
               {nullptr, "Docs", "/volume1/docs", "x//a.docx"});
    ExpectFile("[docs]\npath = /volume1/docs\n", "docs", "",
               {nullptr, "docs", "/volume1/docs", ""});
}

TEST_F(SmbPlaceTest, InTheShareOfHomesIsBelowOneHome) {
    constexpr const char* kHomes = "[homes]\npath = /volume1/homes/%S\n";
    ExpectFile(kHomes, "homes", "/bob/x/a.docx",
               {nullptr, "bob", "/volume1/homes/bob", "x/a.docx"});
    ExpectFile(kHomes, "homes", "/bob", {nullptr, "bob", "/volume1/homes/bob", ""});
    ExpectFile(kHomes, "homes", "/", {nullptr, "", "/volume1/homes", ""});
}

TEST_F(SmbPlaceTest, InHomesOfAnotherFormIsBelowAllOfThem) {
    ExpectFile("[homes]\npath = /volume1/homes/%D/%S\n", "homes", "/corp/bob/a",
               {nullptr, "", "/volume1/homes", "corp/bob/a"});
    ExpectFile("[homes]\npath = /volume1/shared\n", "homes", "/x/a",
               {nullptr, "ann", "/volume1/shared", "x/a"});
}

TEST_F(SmbPlaceTest, InAHomeIsBelowThatHome) {
    const SmbConf configuration = Load("[homes]\npath = /volume1/homes/%S\n");
    const auto file = FindHomeFile(configuration, "/a.docx", "ann", "/home/ann");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->root, "/volume1/homes/ann");
    EXPECT_EQ(file->path, "a.docx");
    EXPECT_EQ(file->service, "ann");
    EXPECT_EQ(file->section, configuration.Find("homes"));
}

TEST_F(SmbPlaceTest, IsNoneInAnUnknownShare) {
    EXPECT_FALSE(FindShareFile(Load("[docs]\npath = /d\n"), "none", "a", "ann"));
}

TEST_F(SmbPlaceTest, FollowsLinksInsideUnlessTheShareFollowsNone) {
    EXPECT_EQ(Links("", ""), NAVO_SHARE_INSIDE_LINKS);
    EXPECT_EQ(Links("", "follow symlinks = no\n"), 0U);
    EXPECT_EQ(Links("follow symlinks = no\n", ""), 0U);
    EXPECT_EQ(Links("follow symlinks = no\n", "follow symlinks = yes\n"), NAVO_SHARE_INSIDE_LINKS);
}

TEST_F(SmbPlaceTest, FollowsWideLinksOnlyWithoutUnixExtensionsOrWhenThatIsAllowed) {
    constexpr unsigned kWide = NAVO_SHARE_INSIDE_LINKS | NAVO_SHARE_WIDE_LINKS;
    constexpr const char* kOff = "unix extensions = no\nsmb3 unix extensions = no\n";
    EXPECT_EQ(Links(kOff, "wide links = yes\n"), kWide);
    EXPECT_EQ(Links(std::string(kOff) + "wide links = yes\n", ""), kWide);
    EXPECT_EQ(Links("allow insecure wide links = yes\n", "wide links = yes\n"), kWide);
    EXPECT_EQ(Links("", "wide links = yes\n"), NAVO_SHARE_INSIDE_LINKS);
    EXPECT_EQ(Links("unix extensions = no\n", "wide links = yes\n"), NAVO_SHARE_INSIDE_LINKS);
    EXPECT_EQ(Links("smb3 unix extensions = no\n", "wide links = yes\n"), NAVO_SHARE_INSIDE_LINKS);
    EXPECT_EQ(Links(kOff, ""), NAVO_SHARE_INSIDE_LINKS);
    EXPECT_EQ(Links(kOff, "wide links = yes\nfollow symlinks = no\n"), 0U);
}

// Who may read, with accounts and groups that the name service knows.
class SmbAccessOnDevice : public OnDeviceTest {
protected:
    void SetUp() override {
        OnDeviceTest::SetUp();
        if (!IsSkipped() && !_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
    }

    // The refusal of /docs/x/a.docx for a share docs with `settings`.
    static NAVOShareRefusal Ask(const std::string& settings, const std::string& user,
                                const std::string& address = "", const std::string& global = "") {
        const SmbConf configuration = Load("[global]\nworkgroup = HOME\n" + global +
                                           "[docs]\npath = /volume1/docs\n" + settings + "\n");
        const auto file = FindShareFile(configuration, "docs", "x/a.docx", user);
        return RefusalOf(configuration, *file, FindAccount(user).value(), address);
    }

    static NAVOShareRefusal AskInHomes(const std::string& settings, const std::string& user,
                                       const std::string& path) {
        const SmbConf configuration = Load("[homes]\npath = /volume1/homes/%S\n" + settings + "\n");
        const auto file = FindShareFile(configuration, "homes", path, user);
        return RefusalOf(configuration, *file, FindAccount(user).value(), "");
    }

    static SmbConf Load(const std::string& text) {
        WriteFile(kSmbConf, text);
        return SmbConf::Load(kSmbConf).value();
    }

private:
    const vellumo::test::Accounts _accounts{vellumo::test::SomeAccounts(),
                                            vellumo::test::SomeGroups()};
};

TEST_F(SmbAccessOnDevice, IsGivenToAllWithoutSettings) {
    EXPECT_EQ(Ask("", "ann"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("valid users =\ninvalid users =", "ann"), NAVO_SHARE_NOT_REFUSED);
}

TEST_F(SmbAccessOnDevice, IsGivenToNobodyWhenTheShareIsNotAvailable) {
    EXPECT_EQ(Ask("available = no", "ann"), NAVO_SHARE_UNAVAILABLE);
    EXPECT_EQ(Ask("available = no", "root"), NAVO_SHARE_UNAVAILABLE);
    EXPECT_EQ(Ask("available = yes", "ann"), NAVO_SHARE_NOT_REFUSED);
}

TEST_F(SmbAccessOnDevice, IsGivenToValidUsersAlone) {
    EXPECT_EQ(Ask("valid users = carl, Ann", "ann"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("valid users = carl, Ann", "bob"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("valid users = nobody-of-that-name", "bob"), NAVO_SHARE_USER_NOT_VALID);
}

TEST_F(SmbAccessOnDevice, IsNotGivenToInvalidUsers) {
    EXPECT_EQ(Ask("invalid users = ann", "ann"), NAVO_SHARE_USER_INVALID);
    EXPECT_EQ(Ask("invalid users = ann", "bob"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("invalid users = ann\nvalid users = ann bob", "ann"), NAVO_SHARE_USER_INVALID);
}

TEST_F(SmbAccessOnDevice, IsGivenToGroupsInEverySpelling) {
    for (const char* list : {"@staff2", "+staff2", "+&staff2", "&+staff2"}) {
        EXPECT_EQ(Ask(std::string("valid users = ") + list, "ann"), NAVO_SHARE_NOT_REFUSED) << list;
        EXPECT_EQ(Ask(std::string("valid users = ") + list, "bob"), NAVO_SHARE_USER_NOT_VALID)
            << list;
        EXPECT_EQ(Ask(std::string("invalid users = ") + list, "ann"), NAVO_SHARE_USER_INVALID)
            << list;
    }
}

TEST_F(SmbAccessOnDevice, AGroupWithoutASignOrInAnotherCaseNamesNobody) {
    for (const char* list : {"staff2", "@Staff2"}) {
        EXPECT_EQ(Ask(std::string("valid users = ") + list, "ann"), NAVO_SHARE_USER_NOT_VALID);
        EXPECT_EQ(Ask(std::string("invalid users = ") + list, "ann"), NAVO_SHARE_NOT_REFUSED);
    }
}

TEST_F(SmbAccessOnDevice, CountsThePrimaryGroup) {
    EXPECT_EQ(Ask("valid users = @bob", "bob"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("valid users = @bob", "ann"), NAVO_SHARE_USER_NOT_VALID);
}

TEST_F(SmbAccessOnDevice, ANetgroupNamesNobody) {
    EXPECT_EQ(Ask("valid users = &staff2", "ann"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("invalid users = &staff2", "ann"), NAVO_SHARE_NOT_REFUSED);
}

TEST_F(SmbAccessOnDevice, KnowsUsersAndGroupsOfADomain) {
    const std::string eve = vellumo::test::kDomainUser;
    for (const char* list : {"CORP\\eve", "corp\\EVE", "@\"CORP\\domain users\"", "%U", "%D\\%U",
                             "%D%w%U", "\"+CORP\\Domain Users\""}) {
        EXPECT_EQ(Ask(std::string("valid users = ") + list, eve), NAVO_SHARE_NOT_REFUSED) << list;
    }
    for (const char* list : {"eve", "OTHER\\eve", "@domain users", "ann"}) {
        EXPECT_EQ(Ask(std::string("valid users = ") + list, eve), NAVO_SHARE_USER_NOT_VALID)
            << list;
    }
}

TEST_F(SmbAccessOnDevice, ReplacesVariables) {
    EXPECT_EQ(Ask("valid users = %U", "ann"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("valid users = @%G", "ann"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("valid users = %u", "ann"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("valid users = @%g", "ann"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("valid users = %S", "ann"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("valid users = %I", "ann"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("valid users = ann%", "ann"), NAVO_SHARE_USER_NOT_VALID);
}

TEST_F(SmbAccessOnDevice, IsGivenToTheOwnerOfAHomeAlone) {
    EXPECT_EQ(AskInHomes("valid users = %S", "ann", "ann/a.docx"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(AskInHomes("valid users = %S", "ann", "bob/a.docx"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(AskInHomes("valid users = %S", "ann", ""), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(AskInHomes("", "ann", "bob/a.docx"), NAVO_SHARE_NOT_REFUSED);
}

TEST_F(SmbAccessOnDevice, ListsOfWritersForbidNobodyToRead) {
    EXPECT_EQ(Ask("read list = ann\nwrite list = bob", "ann"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("read list = ann\nwrite list = bob", "carl"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("read list = carl\nvalid users = ann", "carl"), NAVO_SHARE_USER_NOT_VALID);
}

TEST_F(SmbAccessOnDevice, IsNotGivenToRefusedHosts) {
    EXPECT_EQ(Ask("hosts allow = 10.", "ann", "10.0.0.1"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("allow hosts = 10.", "ann", "11.0.0.1"), NAVO_SHARE_HOST_REFUSED);
    EXPECT_EQ(Ask("deny hosts = 11.", "ann", "11.0.0.1"), NAVO_SHARE_HOST_REFUSED);
    EXPECT_EQ(Ask("hosts deny = ALL", "ann"), NAVO_SHARE_NOT_REFUSED) << "no address, no question";
}

TEST_F(SmbAccessOnDevice, IsNotGivenToHostsThatAreRefusedEverywhere) {
    const std::string global = "hosts allow = 10.\n";
    EXPECT_EQ(Ask("", "ann", "11.0.0.1", global), NAVO_SHARE_HOST_REFUSED);
    EXPECT_EQ(Ask("hosts allow = 11.", "ann", "11.0.0.1", global), NAVO_SHARE_HOST_REFUSED);
    EXPECT_EQ(Ask("hosts allow = 10.0.", "ann", "10.0.0.1", global), NAVO_SHARE_NOT_REFUSED);
}

TEST_F(SmbAccessOnDevice, IsNotGivenToVetoedFilesAndFolders) {
    EXPECT_EQ(Ask("veto files = /*.DOCX/", "ann"), NAVO_SHARE_FILE_VETOED);
    EXPECT_EQ(Ask("veto files = /X/", "ann"), NAVO_SHARE_FILE_VETOED);
    EXPECT_EQ(Ask("veto files = /X/\ncase sensitive = yes", "ann"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("veto files = /docs/*.tmp/", "ann"), NAVO_SHARE_NOT_REFUSED)
        << "the share's own name is no component";
}

TEST_F(SmbAccessOnDevice, FilesCanBeVetoedForSomeUsers) {
    EXPECT_EQ(Ask("veto files : ann = /a.docx/", "ann"), NAVO_SHARE_FILE_VETOED);
    EXPECT_EQ(Ask("veto files : @staff2 = /a.docx/", "ann"), NAVO_SHARE_FILE_VETOED);
    EXPECT_EQ(Ask("veto files : ann = /a.docx/", "bob"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("veto files = /b/", "ann", "", "veto files : ann = /a.docx/\n"),
              NAVO_SHARE_FILE_VETOED)
        << "those of [global] add up";
}

TEST_F(SmbAccessOnDevice, SettingsOfGlobalAreValidInEachShareThatHasNone) {
    EXPECT_EQ(Ask("", "ann", "", "valid users = bob\n"), NAVO_SHARE_USER_NOT_VALID);
    EXPECT_EQ(Ask("valid users = ann", "ann", "", "valid users = bob\n"), NAVO_SHARE_NOT_REFUSED);
    EXPECT_EQ(Ask("", "ann", "", "available = no\n"), NAVO_SHARE_UNAVAILABLE);
    EXPECT_EQ(Ask("", "ann", "", "invalid users = @staff2\n"), NAVO_SHARE_USER_INVALID);
    EXPECT_EQ(Ask("", "ann", "", "veto files = /x/\n"), NAVO_SHARE_FILE_VETOED);
}

}  // namespace
}  // namespace navo::test
