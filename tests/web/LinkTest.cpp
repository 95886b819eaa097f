// SPDX-License-Identifier: Apache-2.0
// Sharing links as their owners and visitors meet them.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "ServiceTest.h"
#include "loader/links/Links.h"

using namespace vellumo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

// Ann has a folder with two documents and a folder, and may read all; secret.docx lies beside it.
class SharingLink : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        for (const char* folder : {"/volume1/docs/shared", "/volume1/docs/shared/sub"}) {
            MakeDirectory(folder);
            chmod(folder, 0777);
            EXPECT_EQ(chown(folder, 1001, 1001), 0);
        }
        Write("/volume1/docs/shared/a.docx", 0600);
        Write("/volume1/docs/shared/sub/b.docx", 0600);
    }

    // Makes a link; `members`: more members of the request, each with a comma in front.
    static Json::Value Made(Browser& owner, const std::string& path,
                            const std::string& members = "") {
        const HttpAnswer answer =
            owner.Post("/api/v1/links", R"({"path": ")" + path + '"' + members + '}');
        EXPECT_EQ(answer.status, 200) << answer.bytes;
        return answer.Json();
    }

    static std::string ApiOf(const Json::Value& link) {
        return "/s/" + link["token"].asString() + "/api/v1/";
    }

    static int Status(const std::string& path) { return Browser().Get(path).status; }
};

TEST_F(SharingLink, ShowsAVisitorTheFolderAndNothingAboveIt) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link = Made(ann, "docs/shared", R"(, "label": "For you")");
    const std::string api = ApiOf(link);
    Browser visitor;
    const Json::Value me = visitor.Get(api + "me").Json()["link"];
    EXPECT_EQ(me["label"], "For you");
    EXPECT_EQ(me["kind"], "folder");
    EXPECT_EQ(me["name"], "shared");
    EXPECT_THAT(Hrefs(visitor.Get(api + "list"), "entries"), ElementsAre("sub", "a.docx"));
    EXPECT_THAT(Hrefs(visitor.Get(api + "list/sub"), "entries"), ElementsAre("b.docx"));
    EXPECT_EQ(visitor.Get(api + "original/sub/b.docx").content, "some document");
    for (const char* path : {"secret.docx", "docs/a.docx", "shared/a.docx", "nothing.docx"}) {
        EXPECT_EQ(visitor.Get(api + "original/" + path).status, 404) << path;
    }
    for (const char* path : {"../secret.docx", "..%2fsecret.docx", "sub/../../secret.docx"}) {
        EXPECT_EQ(visitor.Get(api + "original/" + path).status, 400) << path;
    }
    EXPECT_EQ(visitor.Get(api + "shares").status, 404);
    EXPECT_EQ(visitor.Get(api + "links").status, 404);
    EXPECT_THAT(visitor.Get(api + "list").bytes, HasSubstr("X-Robots-Tag: noindex"));
}

TEST_F(SharingLink, ToAFileShowsThisFileAlone) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const std::string api = ApiOf(Made(ann, "docs/secret.docx"));
    Browser visitor;
    EXPECT_EQ(visitor.Get(api + "me").Json()["link"]["kind"], "file");
    EXPECT_THAT(Hrefs(visitor.Get(api + "list"), "entries"), ElementsAre("secret.docx"));
    ASSERT_EQ(Opened(visitor, "secret.docx", "pdf", api), "ready");
    EXPECT_EQ(visitor.Get(api + "pdf/secret.docx").content.size(), 100U);
    ASSERT_EQ(Opened(visitor, "secret.docx", "thumbnail", api), "ready");
    const HttpAnswer thumbnail = visitor.Get(api + "thumb/secret.docx");
    EXPECT_EQ(thumbnail.status, 200);
    EXPECT_EQ(thumbnail.fields.at("cache-control"), "no-store");
    EXPECT_EQ(visitor.Get(api + "pdf/a.docx").status, 404);
    EXPECT_EQ(visitor.Get(api + "list/secret.docx").status, 404);
}

TEST_F(SharingLink, FollowsNoSymbolicLinkThatSomebodyPutIntoTheFolder) {
    ASSERT_EQ(symlink("../secret.docx", "/volume1/docs/shared/trap.docx"), 0);
    ASSERT_EQ(symlink("/volume1/other", "/volume1/docs/shared/trap"), 0);
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    EXPECT_EQ(ann.Get("/api/v1/original/docs/shared/trap.docx").status, 200)
        << "the trap is none: ann herself does not get there";
    const std::string api = ApiOf(Made(ann, "docs/shared"));
    EXPECT_THAT(Hrefs(Browser().Get(api + "list"), "entries"), ElementsAre("sub", "a.docx"));
    EXPECT_EQ(Status(api + "original/trap.docx"), 404);
    EXPECT_EQ(Browser().Post(api + "open/trap.docx", "{}").status, 404);
    EXPECT_EQ(Status(api + "list/trap"), 404);
    EXPECT_EQ(ann.Post("/api/v1/links", R"({"path": "docs/shared/trap.docx"})").status, 404);
}

TEST_F(SharingLink, GivesTheRightsThatTheOwnerHasNow) {
    const RunningService service;
    Browser bob;
    bob.LogIn("bob");
    EXPECT_EQ(bob.Post("/api/v1/links", R"({"path": "docs/secret.docx"})").bytes,
              bob.Post("/api/v1/links", R"({"path": "docs/nothing.docx"})").bytes);
    const std::string api = ApiOf(Made(bob, "docs"));
    EXPECT_THAT(Hrefs(Browser().Get(api + "list"), "entries"), ElementsAre("shared", "a.docx"));
    EXPECT_EQ(Status(api + "original/a.docx"), 200);
    EXPECT_EQ(Status(api + "original/secret.docx"), 404);
    chmod("/volume1/docs/a.docx", 0600);
    EXPECT_EQ(Status(api + "original/a.docx"), 404);
    EXPECT_EQ(Status(api + "pdf/a.docx"), 404);
    EXPECT_THAT(Hrefs(Browser().Get(api + "list"), "entries"), ElementsAre("shared"));
}

TEST_F(SharingLink, IsGoneWhenItIsRevokedAndBackWhenItIsReactivated) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link = Made(ann, "docs/shared");
    const std::string id = "/api/v1/links/" + link["id"].asString();
    const std::string unknown = Browser().Get("/s/0123456789abcdefghijkl/api/v1/me").bytes;
    ASSERT_EQ(ann.Send("PATCH", id, R"({"revoked": true})").Json()["state"], "revoked");
    EXPECT_EQ(Browser().Get(ApiOf(link) + "me").bytes, unknown);
    ASSERT_EQ(ann.Send("PATCH", id, R"({"revoked": false})").Json()["state"], "open");
    EXPECT_EQ(Status(ApiOf(link) + "me"), 200);
    ASSERT_EQ(ann.Send("PATCH", id, R"({"expires": 1})").Json()["state"], "expired");
    EXPECT_EQ(Status(ApiOf(link) + "me"), 410);
    EXPECT_EQ(Status(ApiOf(link) + "original/a.docx"), 410);
    ASSERT_EQ(ann.Send("PATCH", id, R"({"expires": null})").Json()["state"], "open");
    ASSERT_EQ(ann.Send("DELETE", id, "{}").status, 200);
    EXPECT_EQ(Browser().Get(ApiOf(link) + "me").bytes, unknown);
    EXPECT_THAT(ann.Get("/api/v1/links").Json()["links"], IsEmpty());
}

TEST_F(SharingLink, ShowsNothingWithoutItsPassword) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link = Made(ann, "docs/shared", R"(, "password": "open it")");
    const std::string api = ApiOf(link);
    ASSERT_EQ(Opened(ann, "docs/shared/a.docx"), "ready");
    ASSERT_EQ(Opened(ann, "docs/shared/a.docx", "thumbnail"), "ready");
    Browser visitor;
    for (const char* path : {"me", "list", "thumb/a.docx", "pdf/a.docx", "original/a.docx",
                             "status/a.docx", "pdf/nothing.docx"}) {
        const HttpAnswer answer = visitor.Get(api + path);
        EXPECT_EQ(answer.status, 401) << path;
        EXPECT_EQ(answer.Json()["code"], "link-password") << path;
    }
    EXPECT_EQ(visitor.Post(api + "open/a.docx", "{}").status, 401);
    EXPECT_EQ(visitor.cookie, "");
    const HttpAnswer unlocked = visitor.Post(api + "unlock", R"({"password": "open it"})");
    ASSERT_EQ(unlocked.status, 200);
    EXPECT_THAT(unlocked.fields.at("set-cookie"),
                HasSubstr("; Path=/s/" + link["token"].asString() + "/; HttpOnly; SameSite=Lax"));
    EXPECT_EQ(visitor.Get(api + "me").status, 200);
    EXPECT_EQ(visitor.Get(api + "pdf/a.docx").status, 200);
    EXPECT_EQ(visitor.Get(ApiOf(Made(ann, "docs/shared", R"(, "password": "x")")) + "me").status,
              401)
        << "the cookie of one link opens another one";
    ann.Send("PATCH", "/api/v1/links/" + link["id"].asString(), R"({"password": "other"})");
    EXPECT_EQ(visitor.Get(api + "me").status, 401) << "the password has changed";
}

TEST_F(SharingLink, MakesWhoGuessesThePasswordWait) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const std::string api = ApiOf(Made(ann, "docs/shared", R"(, "password": "right")"));
    Browser guesser;
    for (int i = 0; i < 5; ++i) {
        const HttpAnswer answer = guesser.Post(api + "unlock", R"({"password": "guess"})");
        EXPECT_EQ(answer.status, 401);
        EXPECT_EQ(answer.Json()["code"], "link-password");
    }
    // The first delay is a second, which may be over by now; the third is four.
    HttpAnswer answer;
    for (int i = 0; i < 3 && answer.status != 429; ++i) {
        answer = guesser.Post(api + "unlock", R"({"password": "guess"})");
    }
    EXPECT_EQ(answer.status, 429);
    EXPECT_THAT(answer.fields, testing::Contains(testing::Key("retry-after")));
}

TEST_F(SharingLink, CountsAnOpeningOnceAVisitAndNoLook) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link = Made(ann, "docs/shared", R"(, "maxViews": 2)");
    const std::string api = ApiOf(link);
    const auto views = [&] { return ann.Get("/api/v1/links").Json()["links"][0]["views"].asInt(); };
    Browser first;
    EXPECT_EQ(first.Get("/s/" + link["token"].asString()).status, 200);
    first.Get(api + "me");
    first.Get(api + "list");
    first.Post(api + "open/a.docx?product=thumbnail", "{}");
    EXPECT_EQ(views(), 0) << "a look counts";
    ASSERT_EQ(Opened(first, "a.docx", "pdf", api), "ready");
    ASSERT_EQ(Opened(first, "a.docx", "pdf", api), "ready");
    ASSERT_EQ(Opened(first, "sub/b.docx", "pdf", api), "ready");
    EXPECT_EQ(first.Get(api + "pdf/a.docx").status, 200);
    EXPECT_EQ(views(), 1);
    EXPECT_EQ(Browser().Get(api + "pdf/a.docx").status, 200) << "fetched without being opened";
    EXPECT_EQ(views(), 2);
    EXPECT_EQ(Status(api + "pdf/a.docx"), 410);
    EXPECT_EQ(Status(api + "thumb/a.docx"), 410);
    EXPECT_EQ(Status(api + "me"), 410);
    EXPECT_EQ(Browser().Post(api + "open/a.docx", "{}").status, 410);
    EXPECT_EQ(first.Get(api + "pdf/a.docx").status, 200) << "a visit that counted ends early";
    const Json::Value visits =
        ann.Get("/api/v1/links/" + link["id"].asString() + "/visits").Json()["visits"];
    ASSERT_EQ(visits.size(), 3U);
    EXPECT_EQ(visits[0]["path"], "/docs/shared/a.docx");
    EXPECT_EQ(visits[1]["path"], "/docs/shared/sub/b.docx");
    EXPECT_LE(visits[0]["time"].asInt64(), std::time(nullptr));
}

TEST_F(SharingLink, WithoutDownloadShowsThePdfAndKeepsTheOriginal) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const std::string api = ApiOf(Made(ann, "docs/shared", R"(, "download": false)"));
    Browser visitor;
    EXPECT_EQ(visitor.Get(api + "original/a.docx").bytes,
              visitor.Get(api + "original/nothing.docx").bytes);
    EXPECT_EQ(visitor.Get(api + "original/a.docx").status, 404);
    ASSERT_EQ(Opened(visitor, "a.docx", "pdf", api), "ready");
    EXPECT_EQ(visitor.Get(api + "pdf/a.docx").status, 200);
}

TEST_F(SharingLink, IsItsOwnersAlone) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ann.LogIn("ann");
    bob.LogIn("bob");
    const Json::Value link = Made(ann, "docs/shared");
    const std::string id = "/api/v1/links/" + link["id"].asString();
    EXPECT_THAT(bob.Get("/api/v1/links").Json()["links"], IsEmpty());
    const std::string missing = bob.Get("/api/v1/links/999/visits").bytes;
    EXPECT_EQ(bob.Get(id + "/visits").bytes, missing);
    EXPECT_EQ(bob.Send("PATCH", id, R"({"revoked": true})").status, 404);
    EXPECT_EQ(bob.Send("DELETE", id, "{}").status, 404);
    EXPECT_EQ(Browser().Get("/api/v1/links").status, 401);
    EXPECT_EQ(ann.Send("DELETE", id, "{}", "http://evil").status, 403);
    EXPECT_EQ(Status(ApiOf(link) + "me"), 200);
    EXPECT_EQ(ann.Get("/api/v1/links").Json()["links"][0]["token"], link["token"]);
}

TEST_F(SharingLink, IsRefusedWithTermsThatAreNone) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    for (const char* members : {R"(, "expires": -1)", R"(, "expires": "soon")",
                                R"(, "maxViews": 1.5)", R"(, "download": 1)", R"(, "owner": "bob")",
                                R"(, "revoked": true)", R"(, "label": 7)", R"(, "path": "docs")"}) {
        EXPECT_EQ(
            ann.Post("/api/v1/links", std::string(R"({"path": "docs")") + members + '}').status,
            400)
            << members;
    }
    EXPECT_EQ(ann.Post("/api/v1/links", "{}").status, 400);
    EXPECT_EQ(ann.Post("/api/v1/links", R"({"path": "docs/../other"})").status, 400);
    EXPECT_EQ(
        ann.Post("/api/v1/links", R"({"path": "docs", "label": ")" + std::string(201, 'x') + "\"}")
            .status,
        400);
    EXPECT_EQ(ann.Post("/api/v1/links",
                       R"({"path": "docs", "label": ")" + std::string(20'000, 'x') + "\"}")
                  .status,
              413);
}

TEST_F(SharingLink, KeepsItsTokenOutOfTheDatabase) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link = Made(ann, "docs/shared", R"(, "password": "a long password")");
    EXPECT_EQ(link["token"].asString().size(), 22U);
    std::string bytes;
    for (const char* file : {"links.db", "links.db-wal", "links.key", "web.db", "web.db-wal"}) {
        const std::string path = std::string("/var/packages/Vellumo/etc/") + file;
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0) << path;
        EXPECT_EQ(status.st_mode & 07777U, 0600U) << path;
        bytes += ReadFile(path);
    }
    EXPECT_THAT(bytes, Not(HasSubstr(link["token"].asString())));
    EXPECT_THAT(bytes, Not(HasSubstr("a long password")));
    EXPECT_THAT(bytes, HasSubstr("$argon2id$"));
}

TEST_F(SharingLink, IsOverWhenTheOwnersAccountIsLockedOrAnotherOnes) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value first = Made(ann, "docs/shared");
    const Json::Value second = Made(ann, "docs/shared");
    WriteFile("/device/locked-ann", "");
    EXPECT_EQ(Status(ApiOf(first) + "me"), 410);
    EXPECT_EQ(Status(ApiOf(first) + "original/a.docx"), 410);
    unlink("/device/locked-ann");
    EXPECT_EQ(Status(ApiOf(first) + "me"), 410) << "the account is looked at each time";
    EXPECT_EQ(Status(ApiOf(second) + "me"), 200);
    const vellumo::loader::LinkDatabase database;
    database.Prepare("UPDATE links SET owner_looked = 0").Next();
    EXPECT_EQ(Status(ApiOf(first) + "me"), 200);
    database.Prepare("UPDATE links SET owner_id = 4242").Next();
    EXPECT_EQ(Status(ApiOf(first) + "me"), 410);
    EXPECT_THAT(ann.Get("/api/v1/links").Json()["links"], IsEmpty());
}

TEST_F(SharingLink, AndAPersonAreInTheViewLogOnceForEachOpening) {
    WriteFile("/usr/navo/etc/navo.conf", "filebrowserxferlog=\"yes\"\n");
    WriteFile("/usr/navo/etc/strings/enu.ini",
              "[sharing]\ndownload_log_desc=\"viewed by a sharing link: \"\n");
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const std::string api = ApiOf(Made(ann, "docs/shared"));
    Browser visitor;
    ASSERT_EQ(Opened(visitor, "a.docx", "thumbnail", api), "ready");
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(Opened(ann, "docs/shared/a.docx"), "ready");
        ASSERT_EQ(ann.Get("/api/v1/pdf/docs/shared/a.docx").status, 200);
        ASSERT_EQ(Opened(visitor, "a.docx", "pdf", api), "ready");
        ASSERT_EQ(visitor.Get(api + "pdf/a.docx").status, 200);
    }
    const std::string log = ReadFile("/var/log/navo/transfer.log");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
    EXPECT_THAT(log, HasSubstr(R"("file":"/docs/shared/a.docx")"));
    EXPECT_THAT(log, HasSubstr(R"("file":" viewed by a sharing link: /docs/shared/a.docx")"));
}

TEST_F(SharingLink, ShowsAPreviewOfMessengersOnlyThePage) {
    const RunningService service;
    const std::string unknown = "/s/0123456789abcdefghijkl";
    const HttpAnswer page = Browser().Get(unknown);
    EXPECT_EQ(page.status, 200);
    EXPECT_THAT(page.content, HasSubstr("<title>Documents</title>"));
    EXPECT_THAT(page.bytes, HasSubstr("X-Robots-Tag: noindex, nofollow"));
    EXPECT_THAT(page.bytes, Not(HasSubstr("Set-Cookie")));
    EXPECT_EQ(Browser().Get("/s/short").status, 404);
    EXPECT_EQ(Browser().Get(unknown + "/page.js").status, 404);
}

}  // namespace
