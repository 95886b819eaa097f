// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "Accounts.h"
#include "Device.h"
#include "PlatformDouble.h"
#include "Process.h"
#include "SyslogSink.h"
#include "vellumo/Path.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr const char* kDirectory = "/volume1/docs";
constexpr uid_t kAnn = 1001;
constexpr uid_t kBob = 1002;
constexpr gid_t kStaff = 1900;
constexpr gid_t kLastOfCarl = 2100;

// What a check must leave as it was.
struct Credentials {
    uid_t user = geteuid();
    gid_t group = getegid();
    std::vector<gid_t> groups = Groups();

    static std::vector<gid_t> Groups() {
        std::vector<gid_t> groups(static_cast<size_t>(getgroups(0, nullptr)));
        EXPECT_EQ(getgroups(static_cast<int>(groups.size()), groups.data()),
                  static_cast<int>(groups.size()));
        return groups;
    }
    bool operator==(const Credentials&) const = default;
};

void PrintTo(const Credentials& credentials, std::ostream* out) {
    *out << credentials.user << ':' << credentials.group << ' '
         << testing::PrintToString(credentials.groups);
}

std::string At(const std::string& name) {
    return std::string(kDirectory) + "/" + name;
}

void MakeFile(const std::string& name, mode_t mode, uid_t owner = 0, gid_t group = 0) {
    WriteFile(At(name), "content");
    ASSERT_EQ(chown(At(name).c_str(), owner, group), 0);
    ASSERT_EQ(chmod(At(name).c_str(), mode), 0);
}

void MakeFolder(const std::string& name, mode_t mode) {
    MakeDirectory(At(name));
    MakeFile(name + "/file", 0644);
    ASSERT_EQ(chmod(At(name).c_str(), mode), 0);
}

// The independent answer: what the user's own cat comes to.
bool CatReads(const TestAccount& user, const std::string& path) {
    return RunProgram({"setpriv", "--reuid", user.name, "--regid", std::to_string(user.gid),
                       "--init-groups", "--inh-caps=-all", "cat", path})
               .status == 0;
}

bool SetAcl(const std::string& entries, const std::string& name) {
    return RunProgram({"setfacl", "-m", entries, At(name)}).status == 0;
}

std::vector<TestAccount> EveryUser() {
    std::vector<TestAccount> users = SomeAccounts();
    users.push_back({"root", 0, 0});
    return users;
}

// Compares for every user; `files` are names in kDirectory.
void ExpectAnswersOfCat(const std::vector<std::string>& files) {
    for (const TestAccount& user : EveryUser()) {
        for (const std::string& file : files) {
            const Credentials before;
            EXPECT_EQ(path::HasReadPermission(At(file), user.name), CatReads(user, At(file)))
                << user.name << " and " << file;
            ASSERT_EQ(Credentials(), before) << user.name << " and " << file;
        }
    }
}

std::string PathMessage(const std::string& text) {
    return "Path:[0-9]+ \\([0-9]+\\) " + text;
}

bool TellsThatSomethingIsNotGivenBack(const std::vector<std::string>& texts) {
    return std::any_of(texts.begin(), texts.end(), [](const std::string& text) {
        return text.find("~IF_RUN_AS") != std::string::npos ||
               text.find("cannot give back") != std::string::npos;
    });
}

class Permission : public DeviceTest {
protected:
    Permission() { PlatformDouble::Get().Reset(); }
    ~Permission() override {
        PlatformDouble::Get().Reset();
        EXPECT_TRUE(SetEffectiveUser(0));
        EXPECT_TRUE(SetEffectiveGroup(0));
        EXPECT_EQ(setgroups(_groups.size(), _groups.data()), HasOtherUsers() ? 0 : -1);
    }
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        PlatformDouble::Get().Reset();
    }
    // The process of a loader: a user with supplementary groups, root only in its real and saved
    // ids.
    static void BecomeLoader() {
        const std::vector<gid_t> groups = {7, 1900, 65500};
        ASSERT_EQ(setgroups(groups.size(), groups.data()), 0);
        ASSERT_TRUE(SetEffectiveGroup(kBob));
        ASSERT_TRUE(SetEffectiveUser(kBob));
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
    const std::vector<gid_t> _groups = Credentials::Groups();
};

}  // namespace

TEST_F(Permission, AgreesWithTheUsersOwnCatAboutModes) {
    MakeFile("everybody", 0644);
    MakeFile("nobody", 0000);
    MakeFile("ann-only", 0600, kAnn);
    MakeFile("all-but-ann", 0044, kAnn, kAnn);
    MakeFile("staff", 0640, 0, kStaff);
    MakeFile("all-but-staff", 0604, 0, kStaff);
    MakeFile("hundredth-group", 0640, 0, kLastOfCarl);
    MakeFile("unnamed-group", 0640, 0, 1999);
    MakeFile("write-only", 0222);
    MakeFile("execute-only", 0111);
    MakeFile("write-and-execute", 0333);
    MakeFile("domain", 0600, 1005);
    ExpectAnswersOfCat({"everybody", "nobody", "ann-only", "all-but-ann", "staff", "all-but-staff",
                        "hundredth-group", "unnamed-group", "write-only", "execute-only",
                        "write-and-execute", "domain"});
}

TEST_F(Permission, AgreesWithTheUsersOwnCatAboutFoldersAndLinks) {
    MakeFolder("closed", 0700);
    MakeFolder("listed", 0744);
    MakeFolder("passed", 0711);
    MakeFile("secret", 0600);
    std::filesystem::create_symlink("passed/file", At("link"));
    std::filesystem::create_symlink("closed/file", At("link-into-closed"));
    std::filesystem::create_symlink("secret", At("link-to-secret"));
    std::filesystem::create_symlink("nothing", At("dangling"));
    std::filesystem::create_symlink("loop", At("loop"));
    ExpectAnswersOfCat({"closed/file", "listed/file", "passed/file", "link", "link-into-closed",
                        "link-to-secret", "dangling", "loop", "missing", "everybody/file"});
}

TEST_F(Permission, AgreesWithTheUsersOwnCatAboutAccessControlLists) {
    for (const char* name :
         {"granted", "group-granted", "denied", "masked", "all-masked", "group-denied"}) {
        MakeFile(name, std::string(name).ends_with("granted") ? 0600 : 0644);
    }
    MakeFolder("folder", 0700);
    if (!SetAcl("u:bob:r", "granted")) {
        GTEST_SKIP() << "skipped: setfacl is missing, or the file system has no ACLs";
    }
    ASSERT_TRUE(SetAcl("g:g100:r", "group-granted"));
    ASSERT_TRUE(SetAcl("u:carl:-", "denied"));
    ASSERT_TRUE(SetAcl("u:bob:r,u:ann:rw,m::w", "masked"));
    // Where the mask is empty, the kernel overlooks the list: who is only in it counts as other.
    ASSERT_TRUE(SetAcl("u:bob:r,u:ann:rw,m::-", "all-masked"));
    ASSERT_TRUE(SetAcl("g:staff2:-", "group-denied"));
    ASSERT_TRUE(SetAcl("u:ann:x", "folder"));
    ASSERT_TRUE(CatReads({"bob", kBob, kBob}, At("granted"))) << "the list does not count";
    ASSERT_FALSE(CatReads({"bob", kBob, kBob}, At("masked"))) << "the mask does not count";
    ExpectAnswersOfCat({"granted", "group-granted", "denied", "masked", "all-masked",
                        "group-denied", "folder/file"});
}

TEST_F(Permission, OfALoaderThatIsAUserIsAskedAndGivenBackTheSame) {
    MakeFile("staff", 0640, 0, kStaff);
    BecomeLoader();
    const Credentials before;
    EXPECT_TRUE(path::HasReadPermission(At("staff"), "ann"));
    EXPECT_EQ(Credentials(), before);
    EXPECT_FALSE(path::HasReadPermission(At("staff"), "bob"));
    EXPECT_EQ(Credentials(), before);
    EXPECT_TRUE(path::HasReadPermission(At("staff"), "root"));
    EXPECT_EQ(Credentials(), before);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Permission, LeavesRealAndSavedIdsAlone) {
    MakeFile("everybody", 0644);
    path::HasReadPermission(At("everybody"), "ann");
    uid_t users[3] = {1, 1, 1};
    gid_t groups[3] = {1, 1, 1};
    ASSERT_EQ(getresuid(&users[0], &users[1], &users[2]), 0);
    ASSERT_EQ(getresgid(&groups[0], &groups[1], &groups[2]), 0);
    EXPECT_THAT(users, ElementsAre(0, 0, 0));
    EXPECT_THAT(groups, ElementsAre(0, 0, 0));
}

TEST_F(Permission, OfRootsProcessChangesIdsOnlyByTheUsersCredentials) {
    MakeFile("everybody", 0644);
    path::HasReadPermission(At("everybody"), "ann");
    std::vector<std::string> changes;
    for (const PlatformCall& call : PlatformDouble::Get().Calls()) {
        changes.push_back(call.operation + " " + call.arguments[0]);
    }
    EXPECT_EQ(PlatformDouble::Get().CallsOf("ResetCredentialsByName").front().arguments,
              (std::vector<std::string>{"ann", "1"}));
    EXPECT_THAT(changes, ElementsAre("ResetCredentialsByName ann", "setresgid 1001",
                                     "setresuid 1001", "NAVOACLPermGet " + At("everybody"),
                                     "setresuid 0", "setgroups 0", "setresgid 0", "setresuid 0"))
        << "the groups first, then what the root scope gives back";
}

TEST_F(Permission, OfAnUnknownUserIsRefusedAndLogged) {
    MakeFile("everybody", 0644);
    BecomeLoader();
    const Credentials before;
    for (const std::string& user :
         {std::string("nobody-such"), std::string(), std::string("CORP\\nobody"),
          std::string(600, 'a'), std::string("\xff\xfe"), std::string("ann ")}) {
        errno = 0;
        EXPECT_FALSE(path::HasReadPermission(At("everybody"), user)) << user;
        EXPECT_THAT(SyslogSink::Get().Texts(),
                    ElementsAre(MatchesRegex(PathMessage(
                        "Failed \\[!ResetCredentialsByName\\(strUserName\\)\\] \\[err: .*\\]"))))
            << user;
        EXPECT_EQ(errno, 0);
        EXPECT_EQ(Credentials(), before);
    }
}

TEST_F(Permission, ThatCannotBeLookedUpIsRefusedAndLogged) {
    MakeFolder("closed", 0700);
    BecomeLoader();
    const Credentials before;
    for (const std::string& path : {std::string(), At("missing"), At("closed/file")}) {
        EXPECT_FALSE(path::HasReadPermission(path, "ann")) << path;
        EXPECT_THAT(SyslogSink::Get().Texts(),
                    ElementsAre(MatchesRegex(PathMessage(
                        "cannot get acl permission for ann:" + path + " \\[err: .*\\]"))));
        EXPECT_EQ(Credentials(), before);
    }
}

TEST_F(Permission, OfWhoCannotBecomeRootIsRefused) {
    MakeFile("everybody", 0644);
    BecomeLoader();
    const Credentials before;
    PlatformDouble::Get().Always("setresuid", -1, EPERM);
    EXPECT_FALSE(path::HasReadPermission(At("everybody"), "ann"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex("Path:[0-9]+ ERROR: IF_RUN_AS\\(0, 0\\)")));
    EXPECT_THAT(PlatformDouble::Get().CallsOf("ResetCredentialsByName"), IsEmpty());
    PlatformDouble::Get().Reset();
    EXPECT_EQ(Credentials(), before);
}

// The user's groups are taken before the ids: a refusal between them must not leave them behind.
TEST_F(Permission, GivesTheGroupsBackWhenTheUsersIdsCannotBeTaken) {
    MakeFile("everybody", 0644);
    BecomeLoader();
    const Credentials before;
    for (const std::string operation : {"setresgid", "setresuid"}) {
        PlatformDouble::Get().SetAnswer([=](const PlatformCall& call) -> std::optional<int> {
            const bool isAnns = call.operation == operation && call.arguments[0] == "1001";
            return isAnns ? std::optional(-1) : std::nullopt;
        });
        EXPECT_FALSE(path::HasReadPermission(At("everybody"), "ann")) << operation;
        EXPECT_EQ(Credentials(), before) << operation;
        EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOACLPermGet"), IsEmpty());
    }
}

// Whichever call fails, a check answers "no" or the truth, and gives the ids back unless the call
// that failed is the one that gives them back, which is told.
TEST_F(Permission, KeepsItsPromisesWhicheverCallFails) {
    MakeFile("staff", 0640, 0, kStaff);
    BecomeLoader();
    const Credentials before;
    for (int k = 1;; ++k) {
        PlatformDouble::Get().Reset();
        PlatformDouble::Get().FailCall(k);
        const bool answer = path::HasReadPermission(At("staff"), "bob");
        const auto failed = PlatformDouble::Get().FailedCall();
        PlatformDouble::Get().Reset();
        if (!failed) {
            EXPECT_GT(k, 10) << "too few calls failed for this to show anything";
            break;
        }
        EXPECT_FALSE(answer) << failed->operation;
        const auto texts = SyslogSink::Get().Texts();
        EXPECT_TRUE(Credentials() == before || TellsThatSomethingIsNotGivenBack(texts))
            << failed->operation << ' ' << failed->arguments[0] << " failed, and it was told as "
            << testing::PrintToString(texts);
        ASSERT_TRUE(SetEffectiveUser(0));
        BecomeLoader();
    }
}

TEST_F(Permission, TellsWhenTheGroupsCannotBeGivenBack) {
    MakeFile("everybody", 0644);
    PlatformDouble::Get().Always("setgroups", -1, EPERM);
    EXPECT_TRUE(path::HasReadPermission(At("everybody"), "ann"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(
                    PathMessage("cannot give back the supplementary groups \\[err: .*\\]"))));
}

TEST_F(Permission, OfAPathWithoutAUserTouchesNothing) {
    path::Path path;
    path.SetData("sharePath", "/docs/everybody", true);
    EXPECT_FALSE(path.CheckPermission());
    EXPECT_THAT(PlatformDouble::Get().Calls(), IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Permission, OfAPathIsThatOfItsUserOnItsRealPath) {
    MakeFile("staff", 0640, 0, kStaff);
    path::Path path;
    path.SetData("sharePath", "/docs/staff", true);
    path.SetData("user", "ann", true);
    EXPECT_TRUE(path.CheckPermission());
    path.SetData("user", "bob", true);
    EXPECT_FALSE(path.CheckPermission());
}

TEST_F(Permission, OfAPathKeepsTheUserThatWasAskedAbout) {
    MakeFile("staff", 0640, 0, kStaff);
    path::Path path;
    path.SetData("sharePath", "/docs/staff", true);
    EXPECT_TRUE(path.CheckPermission("ann"));
    EXPECT_EQ(path.GetUser(), "ann");
    EXPECT_FALSE(path.CheckPermission("bob"));
    EXPECT_EQ(path.GetUser(), "bob");
}

TEST_F(Permission, OfAPathThatDoesNotResolveAsksAboutTheEmptyPath) {
    path::Path path;
    path.SetData("sharePath", "/nowhere/a", true);
    EXPECT_FALSE(path.CheckPermission("ann"));
    const auto asked = PlatformDouble::Get().CallsOf("NAVOACLPermGet");
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_THAT(asked[0].arguments, ElementsAre(""));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(PathMessage("cannot get share path nowhere.*")),
                            MatchesRegex(PathMessage("cannot get acl permission for ann:.*"))));
}
