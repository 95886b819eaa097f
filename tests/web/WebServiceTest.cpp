// SPDX-License-Identifier: Apache-2.0
// The whole service as browsers see it: several accounts, two shares, a script as conversion tools.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "ServiceTest.h"

using namespace vellumo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

// Ann owns all of /docs; bob may not read secret.docx, and Samba does not admit him to /other.
class WebService : public ServiceTest {
protected:
    // The processes that answer questions with the rights of root; they start after the front and
    // before those that try logins.
    static std::vector<pid_t> WorkersOf(const RunningService& service) {
        const std::vector<pid_t> children = service.Children();
        return children.size() < 4 ? children
                                   : std::vector<pid_t>(children.begin() + 1, children.begin() + 4);
    }

    // Each worker's ids, groups and capabilities, as the kernel tells them.
    static std::vector<std::string> RightsOf(const std::vector<pid_t>& workers) {
        std::vector<std::string> rights;
        for (const pid_t worker : workers) {
            std::istringstream lines(ReadFile("/proc/" + std::to_string(worker) + "/status"));
            rights.emplace_back();
            for (std::string line; std::getline(lines, line);) {
                const std::string name = line.substr(0, line.find(':'));
                if (name == "Uid" || name == "Gid" || name == "Groups" || name.starts_with("Cap")) {
                    rights.back() += line + '\n';
                }
            }
        }
        return rights;
    }

    // The entries of all pages, of `limit` entries each.
    static std::vector<std::string> HrefsOfPages(Browser& browser, const std::string& folder,
                                                 const std::string& sort, int limit) {
        std::vector<std::string> all;
        std::string cursor;
        do {
            const HttpAnswer page =
                browser.Get("/api/v1/list/" + folder + "?sort=" + sort +
                            "&limit=" + std::to_string(limit) + "&cursor=" + cursor);
            EXPECT_EQ(page.status, 200);
            const auto hrefs = Hrefs(page, "entries");
            EXPECT_LE(hrefs.size(), static_cast<size_t>(limit));
            all.insert(all.end(), hrefs.begin(), hrefs.end());
            cursor = page.Json()["next"].asString();  // "" for null
            std::replace(cursor.begin(), cursor.end(), ' ', '+');
        } while (!cursor.empty());
        return all;
    }
};

TEST_F(WebService, ShowsAPersonWhatThePersonMaySee) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    ASSERT_EQ(bob.LogIn("bob").status, 200);
    EXPECT_EQ(ann.Get("/api/v1/me").Json()["user"], "ann");
    EXPECT_THAT(Hrefs(ann.Get("/api/v1/shares"), "shares"), ElementsAre("docs", "other"));
    EXPECT_THAT(Hrefs(bob.Get("/api/v1/shares"), "shares"), ElementsAre("docs"));
    EXPECT_THAT(Hrefs(ann.Get("/api/v1/list/docs"), "entries"),
                ElementsAre("a.docx", "secret.docx"));
    EXPECT_THAT(Hrefs(bob.Get("/api/v1/list/docs"), "entries"), ElementsAre("a.docx"));
}

TEST_F(WebService, GivesNothingWithoutALogin) {
    const RunningService service;
    Browser stranger;
    for (const char* path : {"me", "shares", "list/docs", "thumb/docs/a.docx", "pdf/docs/a.docx",
                             "original/docs/a.docx", "status/docs/a.docx", "list/nothing"}) {
        EXPECT_EQ(stranger.Get(std::string("/api/v1/") + path).status, 401) << path;
    }
    EXPECT_EQ(stranger.Post("/api/v1/open/docs/a.docx", "{}").status, 401);
    stranger.cookie = "__Host-vellumo=" + std::string(64, '0');
    EXPECT_EQ(stranger.Get("/api/v1/me").status, 401);
}

TEST_F(WebService, MakesAndServesThePdfAndTheThumbnail) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    EXPECT_EQ(ann.Get("/api/v1/pdf/docs/a.docx").Json()["code"], "not-ready");
    ASSERT_EQ(Opened(ann, "docs/a.docx"), "ready");
    const HttpAnswer pdf = ann.Get("/api/v1/pdf/docs/a.docx");
    EXPECT_EQ(pdf.status, 200);
    EXPECT_EQ(pdf.fields.at("content-type"), "application/pdf");
    EXPECT_EQ(pdf.content.size(), 100U);
    const std::string tag = pdf.fields.at("etag");
    const HttpAnswer part = ann.Get("/api/v1/pdf/docs/a.docx", "Range: bytes=10-19\r\n");
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.content, pdf.content.substr(10, 10));
    EXPECT_EQ(ann.Get("/api/v1/pdf/docs/a.docx", "If-None-Match: " + tag + "\r\n").status, 304);
    ASSERT_EQ(Opened(ann, "docs/a.docx", "thumbnail"), "ready");
    const HttpAnswer thumbnail = ann.Get("/api/v1/thumb/docs/a.docx?v=1");
    EXPECT_EQ(thumbnail.status, 200);
    EXPECT_EQ(thumbnail.fields.at("cache-control"), "private, max-age=300, must-revalidate");
}

TEST_F(WebService, TakesARightAwayAtTheNextRequest) {
    const RunningService service;
    Browser bob;
    bob.LogIn("bob");
    ASSERT_EQ(Opened(bob, "docs/a.docx"), "ready");
    const HttpAnswer before = bob.Get("/api/v1/pdf/docs/a.docx");
    ASSERT_EQ(before.status, 200);
    chmod("/volume1/docs/a.docx", 0600);
    const std::string known = "If-None-Match: " + before.fields.at("etag") + "\r\n";
    EXPECT_EQ(bob.Get("/api/v1/pdf/docs/a.docx", known).status, 404);
    EXPECT_EQ(bob.Get("/api/v1/original/docs/a.docx").status, 404);
    EXPECT_THAT(Hrefs(bob.Get("/api/v1/list/docs"), "entries"), IsEmpty());
}

TEST_F(WebService, SaysTheSameOfWhatIsMissingAndOfWhatIsForbidden) {
    const RunningService service;
    Browser bob;
    bob.LogIn("bob");
    for (const char* route : {"thumb/", "pdf/", "original/", "status/"}) {
        const std::string prefix = std::string("/api/v1/") + route;
        const HttpAnswer missing = bob.Get(prefix + "docs/nothing.docx");
        EXPECT_EQ(missing.status, 404);
        for (const char* path : {"docs/secret.docx", "docs/b.veto", "other/c.docx",
                                 "nothing/c.docx", "docker/x.docx", "docs/secret.docx/x"}) {
            EXPECT_EQ(bob.Get(prefix + path).bytes, missing.bytes) << route << path;
        }
    }
    const HttpAnswer missing = bob.Get("/api/v1/list/nothing");
    EXPECT_EQ(missing.status, 404);
    for (const char* path : {"other", "other/deep", "docs/nothing", "docs/secret.docx"}) {
        EXPECT_EQ(bob.Get(std::string("/api/v1/list/") + path).bytes, missing.bytes) << path;
    }
    EXPECT_EQ(bob.Post("/api/v1/open/docs/secret.docx", "{}").bytes,
              bob.Post("/api/v1/open/docs/nothing.docx", "{}").bytes);
}

TEST_F(WebService, GivesTheOriginalOnlyToBeSaved) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const HttpAnswer original = ann.Get("/api/v1/original/docs/a.docx");
    EXPECT_EQ(original.content, "some document");
    EXPECT_EQ(original.fields.at("content-disposition"), "attachment; filename*=UTF-8''a.docx");
    EXPECT_THAT(original.fields.at("content-security-policy"), HasSubstr("sandbox"));
}

TEST_F(WebService, RefusesAWrongPasswordAndThenMakesItsGuesserWait) {
    const RunningService service;
    Browser guesser;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(guesser.LogIn("ann", "guess").status, 401);
    }
    EXPECT_EQ(guesser.LogIn("ann", "guess").status, 429) << "the fourth try comes too early";
    EXPECT_EQ(guesser.LogIn("bob").status, 200) << "another account is not affected";
    EXPECT_EQ(guesser.LogIn("root").status, 401);
    EXPECT_EQ(guesser.LogIn("nobody-knows").status, 401);
}

TEST_F(WebService, EndsTheSessionAtLogoutAndTheOldOneAtLogin) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    Browser old = ann;
    ann.LogIn("ann");
    EXPECT_NE(ann.cookie, old.cookie);
    EXPECT_EQ(old.Get("/api/v1/me").status, 401);
    Browser copy = ann;
    EXPECT_EQ(ann.Post("/api/v1/logout", "{}").status, 200);
    EXPECT_EQ(copy.Get("/api/v1/me").status, 401);
}

TEST_F(WebService, LetsNoOtherSiteChangeAnything) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    EXPECT_EQ(ann.Post("/api/v1/logout", "{}", "http://evil").status, 403);
    EXPECT_EQ(ann.Get("/api/v1/me").status, 200);
}

TEST_F(WebService, RefusesALockedAccount) {
    const RunningService service;
    WriteFile("/device/locked-ann", "");
    EXPECT_EQ(Browser().LogIn("ann").status, 401);
}

TEST_F(WebService, PagesThroughAFolder) {
    for (int i = 0; i < 7; ++i) {
        Write("/volume1/docs/n" + std::to_string(i) + ".odt", 0644);
    }
    const RunningService service;
    Browser bob;
    bob.LogIn("bob");
    EXPECT_THAT(HrefsOfPages(bob, "docs", "-name", 3),
                ElementsAre("n6.odt", "n5.odt", "n4.odt", "n3.odt", "n2.odt", "n1.odt", "n0.odt",
                            "a.docx"));
}

TEST_F(WebService, ShowsAFolderInEachOrderWhateverIsHiddenInIt) {
    const std::string folder = "/volume1/docs/mixed/";
    MakeDirectory(folder + "Zoo");
    MakeDirectory(folder + "closed");
    chmod((folder + "closed").c_str(), 0700);
    ASSERT_EQ(symlink("Zoo", (folder + "alink").c_str()), 0);
    for (int i = 0; i < 5; ++i) {
        WriteFile(folder + std::to_string(i) + (i % 2 == 0 ? ".odt" : ".docx"),
                  std::string(static_cast<size_t>(10 - i), 'x'));
        Write(folder + "secret" + std::to_string(i) + ".odt", 0600);
        Write(folder + "." + std::to_string(i) + ".odt", 0644);
    }
    for (int i = 0; i < 40; ++i) {
        Write(folder + "1" + std::to_string(i) + ".veto", 0644);
    }
    const RunningService service;
    Browser bob;
    bob.LogIn("bob");
    EXPECT_THAT(HrefsOfPages(bob, "docs/mixed", "name", 3),
                ElementsAre("alink", "Zoo", "0.odt", "1.docx", "2.odt", "3.docx", "4.odt"));
    EXPECT_THAT(HrefsOfPages(bob, "docs/mixed", "size", 2),
                ElementsAre("alink", "Zoo", "4.odt", "3.docx", "2.odt", "1.docx", "0.odt"));
    EXPECT_THAT(HrefsOfPages(bob, "docs/mixed", "type", 4),
                ElementsAre("alink", "Zoo", "1.docx", "3.docx", "0.odt", "2.odt", "4.odt"));
    for (const char* sort : {"name", "-name", "time", "-time", "size", "-size", "type", "-type"}) {
        EXPECT_EQ(HrefsOfPages(bob, "docs/mixed", sort, 1),
                  HrefsOfPages(bob, "docs/mixed", sort, 100))
            << sort;
    }
}

TEST_F(WebService, ServesThePage) {
    const RunningService service;
    const HttpAnswer page = Browser().Get("/");
    EXPECT_THAT(page.content, HasSubstr("<title>Documents</title>"));
    EXPECT_THAT(page.fields.at("content-security-policy"), HasSubstr("default-src 'none'"));
    EXPECT_EQ(Browser().Get("/page.js").status, 200);
    EXPECT_EQ(Browser().Get("/../etc/passwd").status, 404);
}

TEST_F(WebService, AnswersOddBytesWithAnErrorAndClosesTheConnection) {
    const RunningService service;
    EXPECT_EQ(SendBytes("GET / HTTP/1.1\nHost: a\n\n").status, 400);
    EXPECT_EQ(SendBytes("GET / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
                        "0\r\n\r\nGET /page.js HTTP/1.1\r\n")
                  .status,
              400);
}

TEST_F(WebService, GoesOnAfterTheDeathOfEachOfItsProcesses) {
    const RunningService service;
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    constexpr size_t kProcesses = 1 + 2 + 1 + 4;
    // The login has ended a process, in whose place another one starts.
    ASSERT_TRUE(ComesTrue([&] { return service.Children().size() == kProcesses; }));
    const std::vector<pid_t> children = service.Children();
    for (const pid_t child : children) {
        ASSERT_EQ(kill(child, SIGKILL), 0);
        EXPECT_TRUE(ComesTrue([&] {
            const int status = ann.Get("/api/v1/list/docs").status;
            EXPECT_THAT(status, testing::AnyOf(0, 200, 503));
            return status == 200;
        }));
    }
    EXPECT_TRUE(ComesTrue([&] { return service.Children().size() == children.size(); }));
    EXPECT_EQ(Opened(ann, "docs/a.docx"), "ready");
    EXPECT_EQ(Browser().LogIn("bob").status, 200);
}

TEST_F(WebService, LeavesNoProcessBehind) {
    RunningService service;
    const std::vector<pid_t> children = service.Children();
    ASSERT_THAT(children, Not(IsEmpty()));
    service.Signal(SIGKILL);
    service.Wait();
    for (const pid_t child : children) {
        EXPECT_TRUE(ComesTrue([&] { return kill(child, 0) != 0; })) << child;
    }
}

TEST_F(WebService, StopsWithinTenSeconds) {
    RunningService service;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(service.Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(WebService, GivesTheProcessThatSpeaksHttpNoRights) {
    const RunningService service;
    const std::string status =
        ReadFile("/proc/" + std::to_string(service.Children().front()) + "/status");
    EXPECT_THAT(status, HasSubstr("Uid:\t1990\t1990\t1990\t1990\n"));
    EXPECT_THAT(status, HasSubstr("CapEff:\t0000000000000000\n"));
    EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1\n"));
    EXPECT_THAT(status, HasSubstr("Seccomp:\t2\n"));
}

TEST_F(WebService, LetsTheToolsNotDelayWhatSomebodyBrowses) {
    const RunningService service;
    const auto niceness = [](pid_t process) {
        return getpriority(PRIO_PROCESS, static_cast<id_t>(process));
    };
    const int usual = niceness(getpid());
    const std::vector<pid_t> workers = WorkersOf(service);
    ASSERT_EQ(workers.size(), 3U);
    EXPECT_LT(niceness(service.Children().front()), usual);
    EXPECT_LT(niceness(workers.front()), usual);
    EXPECT_EQ(niceness(workers.back()), usual) << "the tools are children of those that convert";
}

TEST_F(WebService, LeavesAWorkerTheIdsAndGroupsThatItCameWithAfterEachMessage) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    ASSERT_EQ(bob.LogIn("bob").status, 200);
    const std::vector<pid_t> workers = WorkersOf(service);
    const std::vector<std::string> rights = RightsOf(workers);
    ASSERT_EQ(rights.size(), 3U);
    ASSERT_THAT(rights, testing::Each(HasSubstr("Uid:\t0\t0\t0\t0\n")));
    ASSERT_EQ(Opened(ann, "docs/a.docx"), "ready");
    EXPECT_EQ(bob.Post("/api/v1/open/docs/secret.docx", "{}").status, 404);
    // The process that converts may not have answered yet.
    ASSERT_TRUE(ComesTrue([&] { return RightsOf(workers) == rights; }));
    for (Browser* browser : {&ann, &bob}) {
        for (const char* path :
             {"me", "shares", "list/docs", "list/other", "list/nothing", "thumb/docs/a.docx",
              "pdf/docs/a.docx", "pdf/docs/secret.docx", "original/docs/a.docx",
              "status/docs/a.docx", "original/other/c.docx", "list/docs?cursor=nonsense"}) {
            // Twice, and so by both of the workers that look things up, or by one of them again.
            for (int i = 0; i < 2; ++i) {
                EXPECT_NE(browser->Get(std::string("/api/v1/") + path).status, 503) << path;
                EXPECT_EQ(RightsOf(workers), rights) << path;
            }
        }
        EXPECT_EQ(browser->Post("/api/v1/logout", "{}").status, 200);
        EXPECT_EQ(RightsOf(workers), rights) << "logout";
    }
    EXPECT_EQ(WorkersOf(service), workers) << "a worker that noticed other ids has ended";
}

}  // namespace
