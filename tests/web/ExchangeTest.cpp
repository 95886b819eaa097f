// SPDX-License-Identifier: Apache-2.0
// Somebody exchanges documents while browsers ask for them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>

#include "Process.h"
#include "ServiceTest.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* kDocs = "/volume1/docs/";
constexpr const char* kSecret = "THE SECRET";
constexpr const char* kSecretName = "of-the-closed-folder";
constexpr uid_t kAnn = 1001;

void Exchange(const char* one, const char* other) {
    renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE);
}

// Bob asks. The attacker may write to the folder of the documents, and to nothing else. The tools
// copy a document into its products, so each product tells of what it was made.
class Exchanged : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        PlayToolsOfDocuments();
        chmod(kDocs, 0777);
        WriteDocument("mine.docx", "anybody's", 0644);
        WriteDocument("secret.docx", kSecret, 0600);
        MakeDirectory("/volume1/docs/closed");
        WriteDocument("closed/a.docx", kSecret, 0644);
        WriteDocument(std::string("closed/") + kSecretName + ".docx", kSecret, 0644);
        ASSERT_EQ(chown("/volume1/docs/closed", kAnn, kAnn), 0);
        chmod("/volume1/docs/closed", 0700);
    }

    static void WriteDocument(const std::string& name, const std::string& content, mode_t mode) {
        const std::string path = kDocs + name;
        WriteFile(path, "tool: document ok 0\n" + content);
        chmod(path.c_str(), mode);
        ASSERT_EQ(chown(path.c_str(), kAnn, kAnn), 0);
    }

    // Every secret has its products already: only the right to them is missing.
    static void MakeProducts(const std::vector<std::string>& paths) {
        Browser ann;
        ASSERT_EQ(ann.LogIn("ann").status, 200);
        for (const std::string& path : paths) {
            for (const char* product : {"pdf", "thumbnail"}) {
                ASSERT_EQ(Opened(ann, path, product), "ready") << path << ' ' << product;
            }
        }
    }

    // How often each status came for the original; 0: of all routes, no answer.
    using Seen = std::map<int, int>;

    // Asks for the document on every route, again and again, while the attack goes on. `prefix`: of
    // the interface; `path`: of the document, below it.
    static Seen AskAll(Browser& browser, const std::string& prefix, const std::string& path) {
        constexpr int kRounds = 300;
        const size_t slash = path.rfind('/');
        const std::string folder = slash == std::string::npos ? "" : '/' + path.substr(0, slash);
        Seen seen;
        const auto check = [&](const HttpAnswer& answer) {
            seen[0] += answer.status == 0 ? 1 : 0;
            EXPECT_THAT(answer.bytes, Not(HasSubstr(kSecret)));
            EXPECT_THAT(answer.bytes, Not(HasSubstr(kSecretName)));
        };
        for (int round = 0; round < kRounds && !testing::Test::HasFailure(); ++round) {
            const HttpAnswer original = browser.Get(prefix + "original/" + path);
            ++seen[original.status];
            check(original);
            for (const char* route : {"pdf/", "thumb/", "status/"}) {
                check(browser.Get(prefix + route + path));
            }
            check(browser.Post(prefix + "visible", R"({"paths": [")" + path + R"("]})"));
            if (round % 10 == 0) {
                check(browser.Get(prefix + "list" + folder));
                check(browser.Post(prefix + "open/" + path, "{}"));
            }
        }
        return seen;
    }

    // Asks as bob, and as a visitor of a link of bob's.
    static void ExpectNoSecret(const std::string& path) {
        Browser bob;
        ASSERT_EQ(bob.LogIn("bob").status, 200);
        const Json::Value link = bob.Post("/api/v1/links", R"({"path": "docs"})").Json();
        const std::string visitors = "/s/" + link["token"].asString() + "/api/v1/";
        for (const std::string& prefix : {std::string("/api/v1/"), visitors}) {
            Browser browser;
            browser.cookie = prefix == visitors ? "" : bob.cookie;
            const std::string asked = prefix == visitors ? path : "docs/" + path;
            Seen seen = AskAll(browser, prefix, asked);
            EXPECT_GT(seen[200], 0) << "the attack never paused";
            EXPECT_GT(seen[404], 0) << "the attack never struck";
            EXPECT_EQ(seen[0], 0) << "no answer came";
        }
    }
};

TEST_F(Exchanged, AttackADocumentForAnothersByRenamingGivesNobodyTheSecret) {
    const RunningService service;
    MakeProducts({"docs/mine.docx", "docs/secret.docx"});
    const Attacker attacker(
        [] { Exchange("/volume1/docs/mine.docx", "/volume1/docs/secret.docx"); });
    ASSERT_TRUE(attacker);
    ExpectNoSecret("mine.docx");
}

TEST_F(Exchanged, AttackADocumentForALinkToAnothersGivesNobodyTheSecret) {
    const RunningService service;
    MakeProducts({"docs/mine.docx", "docs/secret.docx"});
    std::filesystem::create_symlink("secret.docx", "/volume1/docs/link.docx");
    const Attacker attacker([] { Exchange("/volume1/docs/mine.docx", "/volume1/docs/link.docx"); });
    ASSERT_TRUE(attacker);
    ExpectNoSecret("mine.docx");
}

TEST_F(Exchanged, AttackAFolderForALinkToAClosedOneGivesNobodyTheSecret) {
    const RunningService service;
    MakeDirectory("/volume1/docs/open");
    WriteDocument("open/a.docx", "anybody's", 0644);
    MakeProducts({"docs/open/a.docx", "docs/closed/a.docx"});
    std::filesystem::create_symlink("closed", "/volume1/docs/way");
    const Attacker attacker([] { Exchange("/volume1/docs/open", "/volume1/docs/way"); });
    ASSERT_TRUE(attacker);
    ExpectNoSecret("open/a.docx");
}

// The same closed folder, by renaming: a folder has its own rights wherever it goes.
TEST_F(Exchanged, AttackAFolderForAClosedOneByRenamingGivesNobodyTheSecret) {
    const RunningService service;
    MakeDirectory("/volume1/docs/open");
    WriteDocument("open/a.docx", "anybody's", 0644);
    MakeProducts({"docs/open/a.docx", "docs/closed/a.docx"});
    // Whoever moves a folder to another one must be able to write to it, but not within one folder.
    const Attacker attacker([] { Exchange("/volume1/docs/open", "/volume1/docs/closed"); });
    ASSERT_TRUE(attacker);
    ExpectNoSecret("open/a.docx");
}

// What the tests look for is there for who may have it.
TEST_F(Exchanged, SecretsAreGivenToTheirOwner) {
    const RunningService service;
    MakeProducts({"docs/secret.docx", "docs/closed/a.docx"});
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    for (const char* route : {"pdf/docs/secret.docx", "thumb/docs/secret.docx",
                              "original/docs/secret.docx", "pdf/docs/closed/a.docx"}) {
        EXPECT_THAT(ann.Get(std::string("/api/v1/") + route).content, HasSubstr(kSecret)) << route;
    }
    EXPECT_THAT(ann.Get("/api/v1/list/docs/closed").content, HasSubstr(kSecretName));
}

}  // namespace
