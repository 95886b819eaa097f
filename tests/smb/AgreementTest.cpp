// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <filesystem>

#include "Samba.h"
#include "loader/Problem.h"
#include "loader/documents/Access.h"

// What Vellumo answers about a user and a document is what smbd does when that user reads it.
namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kContent = "the content";

struct Case {
    const char* name;
    const char* settings;
    const char* global;
    const char* user;
    const char* path;
    const char* address;
    bool isGiven;
};

void PrintTo(const Case& of, std::ostream* out) {
    *out << "[global] " << of.global << " [docs] " << of.settings << ": " << of.user << " reads "
         << of.path << " from " << of.address;
}

class Agreement : public SambaTest, public testing::WithParamInterface<Case> {
protected:
    void SetUp() override {
        SambaTest::SetUp();
        for (const char* name : {"a.docx", "folder/a.docx", "closed/a.docx", "secret.docx"}) {
            MakeDirectory(fs::path(std::string("/volume1/docs/") + name).parent_path());
            WriteFile(std::string("/volume1/docs/") + name, kContent);
        }
        chmod("/volume1/docs/closed", 0700);
        chmod("/volume1/docs/secret.docx", 0600);
        WriteFile("/volume1/homes/ann/a.docx", kContent);
        fs::create_symlink("folder", "/volume1/docs/inside");
        fs::create_symlink("/volume1/docs/folder/a.docx", "/volume1/docs/absolute.docx");
        fs::create_symlink("/volume1/homes/ann/a.docx", "/volume1/docs/outside.docx");
    }

    static bool IsGivenByVellumo(const std::string& sharePath, const std::string& user,
                                 const char* address) {
        try {
            loader::CheckAccess(loader::Resolve(sharePath, user), address);
            return true;
        } catch (const loader::Failure&) {
            return false;
        }
    }
};

TEST_P(Agreement, OfVellumoAndSmbd) {
    const Case& of = GetParam();
    Share(of.settings, of.global);
    const std::string path = of.path;
    const std::string share = path.substr(1, path.find('/', 1) - 1);
    const std::string rest = path.substr(share.size() + 2);
    EXPECT_EQ(Fetched(of.user, share == "home" ? of.user : share, rest, of.address),
              of.isGiven ? kContent : "");
    EXPECT_EQ(IsGivenByVellumo(path, of.user, of.address), of.isGiven);
}

constexpr const char* kA = "/docs/a.docx";
constexpr const char* kInFolder = "/docs/folder/a.docx";
constexpr const char* kThroughLink = "/docs/inside/a.docx";
constexpr const char* kAbsolute = "/docs/absolute.docx";
constexpr const char* kOutside = "/docs/outside.docx";
constexpr const char* kInsecure = "allow insecure wide links = yes";

INSTANTIATE_TEST_SUITE_P(
    Users, Agreement,
    testing::Values(
        Case{"NoSetting", "", "", "bob", kA, kThisMachine, true},
        Case{"Unavailable", "available = no", "", "ann", kA, kThisMachine, false},
        Case{"UnavailableByGlobal", "", "available = no", "ann", kA, kThisMachine, false},
        Case{"Valid", "valid users = bob, ann", "", "ann", kA, kThisMachine, true},
        Case{"NotValid", "valid users = ann", "", "bob", kA, kThisMachine, false},
        Case{"ValidInAnotherCase", "valid users = ANN", "", "ann", kA, kThisMachine, true},
        Case{"ValidByGlobal", "", "valid users = ann", "ann", kA, kThisMachine, true},
        Case{"NotValidByGlobal", "", "valid users = ann", "bob", kA, kThisMachine, false},
        Case{"ValidDespiteGlobal", "valid users =", "valid users = ann", "bob", kA, kThisMachine,
             true},
        Case{"ValidByGroup", "valid users = @staff2", "", "ann", kA, kThisMachine, true},
        Case{"ValidByUnixGroup", "valid users = +staff2", "", "ann", kA, kThisMachine, true},
        Case{"NotValidByGroupWithoutSign", "valid users = staff2", "", "ann", kA, kThisMachine,
             false},
        Case{"NotInvalidByGroupWithoutSign", "invalid users = staff2", "", "ann", kA, kThisMachine,
             true},
        Case{"ValidByTwoSigns", "valid users = &+staff2", "", "ann", kA, kThisMachine, true},
        Case{"NotValidByGroupInAnotherCase", "valid users = @Staff2", "", "ann", kA, kThisMachine,
             false},
        Case{"ValidByThePrimaryGroup", "valid users = @%G", "", "bob", kA, kThisMachine, true},
        Case{"NotValidByTheSessionsGroup", "valid users = @%g", "", "bob", kA, kThisMachine, false},
        Case{"NotValidByTheSessionsUser", "valid users = %u", "", "bob", kA, kThisMachine, false},
        Case{"InvalidByVariable", "invalid users = %U", "", "ann", kA, kThisMachine, false},
        Case{"ValidInQuotes", "valid users = \"bob\" \"ann\"", "", "ann", kA, kThisMachine, true},
        Case{"ValidByTheLastOfManyGroups", "valid users = @g100", "", "carl", kA, kThisMachine,
             true},
        Case{"NotValidByGroup", "valid users = @staff2", "", "bob", kA, kThisMachine, false},
        Case{"NetgroupNamesNobody", "valid users = &staff2", "", "ann", kA, kThisMachine, false},
        Case{"UnknownNameNamesNobody", "valid users = zoe", "", "ann", kA, kThisMachine, false},
        Case{"ValidByVariable", "valid users = %U", "", "ann", kA, kThisMachine, true},
        Case{"NotValidByTheSharesName", "valid users = %S", "", "ann", kA, kThisMachine, false},
        Case{"Invalid", "invalid users = ann", "", "ann", kA, kThisMachine, false},
        Case{"NotInvalid", "invalid users = ann", "", "bob", kA, kThisMachine, true},
        Case{"InvalidByGroup", "invalid users = @staff2", "", "ann", kA, kThisMachine, false},
        Case{"InvalidWins", "valid users = ann\ninvalid users = ann", "", "ann", kA, kThisMachine,
             false},
        Case{"OnReadList", "read list = ann", "", "ann", kA, kThisMachine, true},
        Case{"NotOnReadList", "read list = bob", "", "ann", kA, kThisMachine, true},
        Case{"NotOnWriteList", "write list = bob", "", "ann", kA, kThisMachine, true},
        Case{"OwnHome", "valid users = %S", "", "ann", "/home/a.docx", kThisMachine, true},
        Case{"NotValidInOwnHome", "valid users = bob", "", "ann", "/home/a.docx", kThisMachine,
             false}),
    [](const auto& of) { return of.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Hosts, Agreement,
    testing::Values(
        Case{"Allowed", "hosts allow = 10.", "", "ann", kA, kOfficeHost, true},
        Case{"NotAllowed", "hosts allow = 10.", "", "ann", kA, kOtherHost, false},
        Case{"ThisMachineIsAllowed", "hosts allow = 10.", "", "ann", kA, kThisMachine, true},
        Case{"ThisMachineIsDenied", "hosts allow = 10.\nhosts deny = ALL", "", "ann", kA,
             kThisMachine, false},
        Case{"Denied", "hosts deny = 10.", "", "ann", kA, kOfficeHost, false},
        Case{"NotDenied", "hosts deny = 10.", "", "ann", kA, kOtherHost, true},
        Case{"AllowWins", "hosts allow = 10.0.0.7\nhosts deny = ALL", "", "ann", kA, kOfficeHost,
             true},
        Case{"AllowedByMask", "hosts allow = 10.0.0.0/255.255.255.0", "", "ann", kA, kOfficeHost,
             true},
        Case{"AllowedByBits", "hosts allow = 10.0.0.0/24", "", "ann", kA, kOfficeHost, true},
        Case{"NotAllowedByBits", "hosts allow = 10.0.1.0/24", "", "ann", kA, kOfficeHost, false},
        Case{"Except", "hosts allow = 10. EXCEPT 10.0.0.7", "", "ann", kA, kOfficeHost, false},
        Case{"NotExcept", "hosts allow = 10. EXCEPT 10.0.0.8", "", "ann", kA, kOfficeHost, true},
        Case{"DeniedByGlobal", "hosts allow = 10.", "hosts deny = 10.", "ann", kA, kOfficeHost,
             false},
        Case{"NotAllowedByGlobal", "hosts allow = 10.", "hosts allow = 192.168.", "ann", kA,
             kOfficeHost, false},
        Case{"DeniedByName", "hosts deny = localhost", "", "ann", kA, kThisMachine, true},
        Case{"DeniedByPattern", "hosts deny = 10.*", "", "ann", kA, kOfficeHost, false},
        Case{"DeniedByTheOldName", "deny hosts = 10.", "", "ann", kA, kOfficeHost, false}),
    [](const auto& of) { return of.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Paths, Agreement,
    testing::Values(
        Case{"VetoedFile", "veto files = /*.docx/", "", "ann", kA, kThisMachine, false},
        Case{"VetoedFileInAnotherCase", "veto files = /A.DOCX/", "", "ann", kA, kThisMachine,
             false},
        Case{"VetoedFolder", "veto files = /folder/", "", "ann", kInFolder, kThisMachine, false},
        Case{"VetoedByQuestionMark", "veto files = /?.docx/", "", "ann", kA, kThisMachine, false},
        Case{"NotVetoed", "veto files = /*.doc/b*/", "", "ann", kA, kThisMachine, true},
        Case{"VetoedByGlobal", "", "veto files = /a.docx/", "ann", kA, kThisMachine, false},
        Case{"VetoedInAShareThatKeepsCase", "case sensitive = yes\nveto files = /A.DOCX/", "",
             "ann", kA, kThisMachine, true},
        Case{"VetoedByStars", "veto files = /*a*.d?cx/", "", "ann", kA, kThisMachine, false},
        Case{"OnlyHidden", "hide files = /*.docx/", "", "ann", kA, kThisMachine, true},
        Case{"ThroughALink", "", "", "ann", kThroughLink, kThisMachine, true},
        Case{"ThroughAnAbsoluteLink", "", "", "ann", kAbsolute, kThisMachine, true},
        Case{"ThroughNoLink", "follow symlinks = no", "", "ann", kThroughLink, kThisMachine, false},
        Case{"ToNoLink", "follow symlinks = no", "", "ann", kAbsolute, kThisMachine, false},
        Case{"WithoutALink", "follow symlinks = no", "", "ann", kInFolder, kThisMachine, true},
        Case{"LinkOutside", "", "", "ann", kOutside, kThisMachine, false},
        Case{"WideLinkBesideUnixExtensions", "wide links = yes", "", "ann", kOutside, kThisMachine,
             false},
        Case{"WideLinkThatIsAllowed", "wide links = yes", kInsecure, "ann", kOutside, kThisMachine,
             true},
        Case{"WideLinkThatIsOnlyAllowed", "", kInsecure, "ann", kOutside, kThisMachine, false},
        Case{"ClosedFile", "", "", "ann", "/docs/secret.docx", kThisMachine, false},
        Case{"ClosedFolder", "", "", "ann", "/docs/closed/a.docx", kThisMachine, false}),
    [](const auto& of) { return of.param.name; });

// Newer servers have another kind of Unix extensions, which are on unless they are turned off.
// Vellumo does not know the server's version, so it may refuse what an older one gives out.
TEST_F(Agreement, AboutWideLinksIsOnTheStricterSideForAnOlderServer) {
    Share("wide links = yes", "unix extensions = no");
    EXPECT_FALSE(IsGivenByVellumo(kOutside, "ann", kThisMachine));
    Share("wide links = yes", "unix extensions = no\nsmb3 unix extensions = no");
    EXPECT_TRUE(IsGivenByVellumo(kOutside, "ann", kThisMachine));
    EXPECT_EQ(Fetched("ann", "docs", "outside.docx"), kContent);
}

// With wide links, smbd follows links even where the share says that it follows none.
TEST_F(Agreement, AboutAShareWithWideLinksAndWithoutLinksIsOnTheStricterSide) {
    Share("wide links = yes\nfollow symlinks = no", kInsecure);
    EXPECT_FALSE(IsGivenByVellumo(kOutside, "ann", kThisMachine));
}

}  // namespace
}  // namespace vellumo::test
