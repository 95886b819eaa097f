// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Access.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "Accounts.h"
#include "Device.h"
#include "loader/documents/ActingUser.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;
namespace fs = std::filesystem;

class Access : public DeviceTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        WriteFile("/volume1/docs/a.docx", "content");
        MakeDirectory("/volume1/homes/bob");
        WriteFile("/volume1/homes/bob/a.docx", "content");
        WriteFile("/volume1/homes/ann/a.docx", "content");
    }

    static void Share(const std::string& settings) {
        WriteFile("/etc/samba/smb.conf", "[docs]\npath = /volume1/docs\n" + settings +
                                             "\n[homes]\npath = /volume1/homes/%S\n" + settings +
                                             "\n");
    }

    // The name of the reason why `user` may not read the document; nothing when the user may.
    static std::optional<std::string> Refusal(const std::string& user,
                                              const std::string& sharePath = "/docs/a.docx",
                                              const std::string& address = "") {
        try {
            CheckAccess(Resolve(sharePath, user), address);
            return std::nullopt;
        } catch (const Failure& failure) {
            return NameOf(failure.Details().reason);
        }
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

TEST_F(Access, IsGivenWhenShareAndKernelBothAllowIt) {
    Share("");
    EXPECT_EQ(Refusal("ann"), std::nullopt);
    EXPECT_EQ(Refusal("ann", "/home/a.docx"), std::nullopt);
}

TEST_F(Access, IsRefusedByEachSettingOfTheShare) {
    Share("available = no");
    EXPECT_EQ(Refusal("ann"), "share-unavailable");
    Share("invalid users = ann");
    EXPECT_EQ(Refusal("ann"), "user-invalid");
    EXPECT_EQ(Refusal("bob"), std::nullopt);
    Share("valid users = @staff2");
    EXPECT_EQ(Refusal("ann"), std::nullopt);
    EXPECT_EQ(Refusal("bob"), "user-not-valid");
    Share("veto files = /*.DOCX/");
    EXPECT_EQ(Refusal("ann"), "vetoed");
    Share("read list = bob\nwrite list = carl");
    EXPECT_EQ(Refusal("ann"), std::nullopt);
}

TEST_F(Access, IsRefusedToHostsOnlyWhenTheirAddressIsKnown) {
    Share("hosts allow = 10.");
    EXPECT_EQ(Refusal("ann", "/docs/a.docx", "10.0.0.1"), std::nullopt);
    EXPECT_EQ(Refusal("ann", "/docs/a.docx", "11.0.0.1"), "host-refused");
    EXPECT_EQ(Refusal("ann", "/docs/a.docx", "nonsense"), "host-refused");
    EXPECT_EQ(Refusal("ann"), std::nullopt);
}

TEST_F(Access, ToAHomeIsGivenToItsOwnerAlone) {
    Share("valid users = %S");
    EXPECT_EQ(Refusal("ann", "/home/a.docx"), std::nullopt);
    EXPECT_EQ(Refusal("ann", "/homes/ann/a.docx"), std::nullopt);
    EXPECT_EQ(Refusal("ann", "/homes/bob/a.docx"), "user-not-valid");
}

TEST_F(Access, IsRefusedByTheKernel) {
    Share("valid users = ann");
    ASSERT_EQ(chmod("/volume1/docs/a.docx", 0600), 0);
    EXPECT_EQ(Refusal("ann"), "denied");
    EXPECT_EQ(Refusal("bob"), "user-not-valid") << "the share is asked first";
}

TEST_F(Access, IsRefusedByAFolderAbove) {
    Share("");
    MakeDirectory("/volume1/docs/closed");
    WriteFile("/volume1/docs/closed/a.docx", "content");
    ASSERT_EQ(chmod("/volume1/docs/closed", 0700), 0);
    EXPECT_EQ(Refusal("ann", "/docs/closed/a.docx"), "denied");
    EXPECT_EQ(Refusal("root", "/docs/closed/a.docx"), std::nullopt);
}

TEST_F(Access, AttackALinkOutOfTheShareGivesNothing) {
    Share("");
    fs::create_symlink("/etc/passwd", "/volume1/docs/passwd.docx");
    fs::create_symlink("/volume1/homes/bob", "/volume1/docs/bob");
    fs::create_symlink("../bob/a.docx", "/volume1/homes/ann/b.docx");
    EXPECT_EQ(Refusal("ann", "/docs/passwd.docx"), "outside-share");
    EXPECT_EQ(Refusal("ann", "/docs/bob/a.docx"), "outside-share");
    EXPECT_EQ(Refusal("ann", "/home/b.docx"), "outside-share") << "each home is a root";
    EXPECT_EQ(Refusal("ann", "/homes/ann/b.docx"), "outside-share");
    EXPECT_EQ(Refusal("root", "/docs/bob/a.docx"), "outside-share");
}

TEST_F(Access, FollowsTheShareAboutLinks) {
    MakeDirectory("/volume1/docs/folder");
    WriteFile("/volume1/docs/folder/a.docx", "content");
    fs::create_symlink("/volume1/docs/folder", "/volume1/docs/inside");
    fs::create_symlink("/volume1/homes/bob", "/volume1/docs/bob");
    Share("");
    EXPECT_EQ(Refusal("ann", "/docs/inside/a.docx"), std::nullopt);
    Share("follow symlinks = no");
    EXPECT_EQ(Refusal("ann", "/docs/inside/a.docx"), "link-in-path");
    EXPECT_EQ(Refusal("ann", "/docs/a.docx"), std::nullopt);
    Share("wide links = yes");
    EXPECT_EQ(Refusal("ann", "/docs/bob/a.docx"), "outside-share");
    WriteFile("/etc/samba/smb.conf",
              "[global]\nallow insecure wide links = yes\n[docs]\npath = /volume1/docs\n"
              "wide links = yes\n");
    EXPECT_EQ(Refusal("ann", "/docs/bob/a.docx"), std::nullopt);
}

TEST_F(Access, IsNotGivenToWhatIsNoRegularFile) {
    Share("");
    ASSERT_EQ(mkfifo("/volume1/docs/pipe.docx", 0666), 0);
    MakeDirectory("/volume1/docs/folder.docx");
    EXPECT_EQ(Refusal("ann", "/docs/pipe.docx"), "not-regular");
    EXPECT_EQ(Refusal("ann", "/docs/folder.docx"), "folder");
    EXPECT_EQ(Refusal("ann", "/docs/none.docx"), "missing");
}

TEST_F(Access, WithoutAnAnswerIsRefused) {
    const Document document = Resolve("/docs/a.docx", "ann");
    WriteFile("/etc/samba/smb.conf", "[docs\n");
    EXPECT_THROW(CheckAccess(document), Failure);
    Share("");
    EXPECT_EQ(Refusal("nobody-of-that-name"), "unknown-user");
}

TEST_F(Access, LeavesTheProcessItsIds) {
    Share("");
    const gid_t groups[] = {4, 5};
    ASSERT_EQ(setgroups(2, groups), 0);
    EXPECT_EQ(Refusal("carl"), std::nullopt);
    gid_t present[8] = {};
    EXPECT_EQ(getgroups(8, present), 2);
    EXPECT_EQ(present[0], 4U);
    EXPECT_EQ(geteuid(), 0U);
    EXPECT_EQ(getegid(), 0U);
    EXPECT_EQ(setgroups(0, nullptr), 0);
}

TEST_F(Access, IsAskedWithTheIdsOfTheUser) {
    {
        const ActingUser ann("ann");
        ASSERT_TRUE(ann);
        EXPECT_EQ(geteuid(), 1001U);
        EXPECT_EQ(getegid(), 1001U);
    }
    EXPECT_EQ(geteuid(), 0U);
    EXPECT_FALSE(ActingUser("nobody-of-that-name"));
    EXPECT_EQ(geteuid(), 0U);
}

TEST(AccessSettings, AreNamedForEachReasonThatAShareHas) {
    EXPECT_STREQ(SettingOf(Reason::kUserNotValid), "valid users");
    EXPECT_STREQ(SettingOf(Reason::kOutsideShare), "wide links");
    EXPECT_EQ(SettingOf(Reason::kDenied), nullptr);
}

}  // namespace
}  // namespace vellumo::loader
