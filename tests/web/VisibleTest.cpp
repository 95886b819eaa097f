// SPDX-License-Identifier: Apache-2.0
// The thumbnails of the documents that a page shows, and the page that somebody has seen last.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "ServiceTest.h"
#include "login/Database.h"
#include "worker/Places.h"

using namespace vellumo::test;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

class Visible : public ServiceTest {
protected:
    static Json::Value Ask(Browser& browser, const std::vector<std::string>& paths,
                           const std::string& prefix = "/api/v1/") {
        Json::Value question;
        question["paths"] = Json::Value(Json::arrayValue);
        for (const std::string& path : paths) {
            question["paths"].append(path);
        }
        return browser.Post(prefix + "visible", question.toStyledString()).Json()["states"];
    }

    // The state of each document.
    static std::vector<std::string> States(Browser& browser, const std::vector<std::string>& paths,
                                           const std::string& prefix = "/api/v1/") {
        std::vector<std::string> states;
        for (const Json::Value& state : Ask(browser, paths, prefix)) {
            states.push_back(state["state"].asString());
        }
        return states;
    }

    static bool Become(Browser& browser, const std::vector<std::string>& paths,
                       const std::string& state) {
        return ComesTrue([&] {
            return States(browser, paths) == std::vector<std::string>(paths.size(), state);
        });
    }

    // Writes documents 0, 1, … of ann's; their paths.
    static std::vector<std::string> Documents(int count) {
        std::vector<std::string> paths;
        for (int i = 0; i < count; ++i) {
            paths.push_back("docs/" + std::to_string(i) + ".docx");
            Write("/volume1/" + paths.back(), 0644);
        }
        return paths;
    }
};

TEST_F(Visible, ThumbnailsAreMadeWithoutAnotherQuestion) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const std::vector<std::string> paths = Documents(3);
    EXPECT_THAT(States(ann, paths), ElementsAre("pending", "pending", "pending"));
    EXPECT_TRUE(Become(ann, paths, "ready"));
    const Json::Value state = Ask(ann, {"docs/0.docx"})[0];
    EXPECT_EQ(state["href"], "docs/0.docx");
    const Json::Value entries = ann.Get("/api/v1/list/docs").Json()["entries"];
    EXPECT_EQ(state["version"], entries[0]["version"]);
    EXPECT_EQ(ann.Get("/api/v1/thumb/docs/0.docx").status, 200);
    EXPECT_EQ(ann.Get("/api/v1/pdf/docs/0.docx").Json()["code"], "not-ready");
}

TEST_F(Visible, OfWhatIsMissingAndForbiddenIsNothing) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ann.LogIn("ann");
    bob.LogIn("bob");
    ASSERT_EQ(Opened(ann, "docs/secret.docx", "thumbnail"), "ready");
    const std::vector<std::string> paths{"docs/secret.docx", "docs/nothing.docx", "other/c.docx",
                                         "docs/b.veto", "nothing/x"};
    EXPECT_THAT(States(bob, paths), ElementsAre("none", "none", "none", "none", "none"));
    for (const Json::Value& state : Ask(bob, paths)) {
        EXPECT_THAT(state, SizeIs(2)) << state["href"].asString();
    }
    EXPECT_THAT(States(ann, {"docs/secret.docx", "docs/b.veto"}), ElementsAre("ready", "none"));
    chmod("/volume1/docs/a.docx", 0600);
    EXPECT_THAT(States(bob, {"docs/a.docx"}), ElementsAre("none"));
}

TEST_F(Visible, OfWhatCannotBeConvertedHaveFailedWithAReason) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    Write("/volume1/docs/x.unknown", 0644);
    const Json::Value state = Ask(ann, {"docs/x.unknown"})[0];
    EXPECT_EQ(state["state"], "failed");
    EXPECT_NE(state["code"].asString(), "");
    PlayTool({.exitStatus = 1, .productSize = -1});
    EXPECT_TRUE(Become(ann, {"docs/a.docx"}, "failed"));
    EXPECT_NE(Ask(ann, {"docs/a.docx"})[0]["code"].asString(), "");
}

// Otherwise a page would begin it again and again.
TEST_F(Visible, WhoseProcessDiedHaveFailedUntilSomebodyTriesAgain) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    PlayTool({.isHeld = true});
    EXPECT_THAT(States(ann, {"docs/a.docx"}), ElementsAre("pending"));
    ASSERT_TRUE(ToolsAreCalled());
    ASSERT_EQ(kill(service.Children().at(3), SIGKILL), 0);
    EXPECT_TRUE(Become(ann, {"docs/a.docx"}, "failed"));
    EXPECT_EQ(Ask(ann, {"docs/a.docx"})[0]["code"], "try-again");
    EXPECT_EQ(ann.Post("/api/v1/open/docs/a.docx?product=thumbnail", "{}").status, 202);
    EXPECT_THAT(States(ann, {"docs/a.docx"}), ElementsAre("pending"));
}

TEST_F(Visible, AreMadeAgainWhenTheProcessThatSpeaksHttpHasDied) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const std::vector<std::string> paths = Documents(5);
    EXPECT_THAT(States(ann, paths), testing::Each("pending"));
    ASSERT_EQ(kill(service.Children().front(), SIGKILL), 0);
    EXPECT_TRUE(Become(ann, paths, "ready"));
}

TEST_F(Visible, CanBeTwoHundredWithLongNamesAndNoMore) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    std::vector<std::string> paths(200, "docs/" + std::string(250, 'x') + ".docx");
    EXPECT_THAT(States(ann, paths), testing::AllOf(SizeIs(200), testing::Each("none")));
    paths.emplace_back("docs/a.docx");
    EXPECT_THAT(States(ann, paths), SizeIs(0));
    EXPECT_THAT(Ask(ann, {}), SizeIs(0));
    EXPECT_EQ(ann.Post("/api/v1/visible", R"({"paths": []})").status, 200);
    for (const char* bad :
         {"{}", "[]", R"({"paths": "a"})", R"({"paths": ["a/../b"]})", R"({"paths": [1]})",
          R"({"paths": [""]})", R"({"paths": [], "x": 1})"}) {
        EXPECT_EQ(ann.Post("/api/v1/visible", bad).status, 400) << bad;
    }
    EXPECT_EQ(Browser().Post("/api/v1/visible", R"({"paths": []})").status, 401);
    EXPECT_EQ(ann.Post("/api/v1/visible", R"({"paths": []})", "http://evil").status, 403);
}

// Of those that wait, the newest question's are made, and none of those that it does not name.
TEST_F(Visible, ThatAreVisibleNoMoreAreNotMade) {
    const RunningService service;
    PlayTool({.isHeld = true});
    Browser ann;
    ann.LogIn("ann");
    const std::vector<std::string> paths = Documents(20);
    States(ann, paths);
    ASSERT_TRUE(ToolsAreCalled());
    States(ann, {"docs/19.docx"});
    PlayTool({});
    LetToolEnd();
    EXPECT_TRUE(Become(ann, {"docs/19.docx"}, "ready"));
    EXPECT_EQ(ann.Get("/api/v1/thumb/docs/0.docx").status, 200) << "it had begun";
    for (int i = 1; i < 19; ++i) {
        EXPECT_EQ(ann.Get("/api/v1/thumb/docs/" + std::to_string(i) + ".docx").status, 404) << i;
    }
}

TEST_F(Visible, LeaveRoomForThePdfThatSomebodyOpens) {
    const RunningService service;
    PlayTool({.isHeld = true});
    Browser ann;
    Browser bob;
    ann.LogIn("ann");
    bob.LogIn("bob");
    const std::vector<std::string> paths = Documents(50);
    States(ann, paths);
    ASSERT_TRUE(ToolsAreCalled());
    EXPECT_EQ(ann.Post("/api/v1/open/docs/49.docx", "{}").Json()["ahead"], 0);
    EXPECT_EQ(bob.Post("/api/v1/open/docs/49.docx", "{}").Json()["ahead"], 1) << "ann's";
    PlayTool({.sleepMs = 100});
    LetToolEnd();
    EXPECT_EQ(Opened(bob, "docs/49.docx"), "ready");
    EXPECT_EQ(ann.Get("/api/v1/pdf/docs/49.docx").status, 200);
    EXPECT_EQ(ann.Get("/api/v1/thumb/docs/40.docx").status, 404) << "the thumbnails come later";
    EXPECT_TRUE(Become(ann, {"docs/40.docx"}, "ready"));
}

TEST_F(Visible, OfVisitorsAreThoseBelowTheLink) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link = ann.Post("/api/v1/links", R"({"path": "docs"})").Json();
    const std::string prefix = "/s/" + link["token"].asString() + "/api/v1/";
    Browser visitor;
    EXPECT_TRUE(ComesTrue(
        [&] { return States(visitor, {"a.docx"}, prefix) == std::vector<std::string>{"ready"}; }));
    EXPECT_THAT(States(visitor, {"docs/a.docx", "x.docx"}, prefix), ElementsAre("none", "none"));
    EXPECT_EQ(visitor.Get(prefix + "place/a.docx").status, 404);
}

using SeenPage = ServiceTest;

TEST_F(SeenPage, IsRememberedForEachUserAndDocument) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ann.LogIn("ann");
    bob.LogIn("bob");
    EXPECT_TRUE(ann.Get("/api/v1/place/docs/a.docx").Json()["page"].isNull());
    EXPECT_EQ(ann.Send("PUT", "/api/v1/place/docs/a.docx", R"({"page": 3})").status, 200);
    EXPECT_EQ(ann.Send("PUT", "/api/v1/place/docs/a.docx", R"({"page": 12})").status, 200);
    EXPECT_EQ(ann.Get("/api/v1/place/docs/a.docx").Json()["page"], 12);
    EXPECT_TRUE(bob.Get("/api/v1/place/docs/a.docx").Json()["page"].isNull());
    EXPECT_TRUE(ann.Get("/api/v1/place/docs/secret.docx").Json()["page"].isNull());
    for (const char* bad : {"{}", R"({"page": 0})", R"({"page": -1})", R"({"page": "1"})",
                            R"({"page": 1000001})", R"({"page": 1, "x": 1})"}) {
        EXPECT_EQ(ann.Send("PUT", "/api/v1/place/docs/a.docx", bad).status, 400) << bad;
    }
}

TEST_F(SeenPage, IsToldOnlyWhileTheUserMayReadTheDocument) {
    const RunningService service;
    Browser bob;
    bob.LogIn("bob");
    EXPECT_EQ(bob.Send("PUT", "/api/v1/place/docs/a.docx", R"({"page": 3})").status, 200);
    chmod("/volume1/docs/a.docx", 0600);
    EXPECT_EQ(bob.Get("/api/v1/place/docs/a.docx").status, 404);
    EXPECT_EQ(bob.Send("PUT", "/api/v1/place/docs/a.docx", R"({"page": 4})").status, 404);
    chmod("/volume1/docs/a.docx", 0644);
    EXPECT_EQ(bob.Get("/api/v1/place/docs/a.docx").Json()["page"], 3);
}

using vellumo::web::worker::Places;
using Remembered = DeviceTest;

TEST_F(Remembered, PagesOfAUserAreLimitedAndTheOldestGo) {
    for (const char* end : {"", "-wal", "-shm"}) {
        unlink((std::string("/device/places.db") + end).c_str());
    }
    const vellumo::web::login::Database database("/device/places.db");
    const Places places(database);
    places.Note({"bob", 1002, "/docs/x"}, 5, 1);
    {
        vellumo::loader::Database::Transaction transaction(database);
        for (int i = 0; i < Places::kMostOfUser; ++i) {
            database.Prepare("INSERT INTO places VALUES ('ann', 1001, ?, 1, ?)")
                .Bind("/docs/" + std::to_string(i))
                .Bind(int64_t{100 + i})
                .Next();
        }
        transaction.Commit();
    }
    places.Note({"ann", 1001, "/docs/0"}, 9, 9000);
    EXPECT_EQ(places.PageAt({"ann", 1001, "/docs/1"}), 1U) << "there was room";
    places.Note({"ann", 1001, "/docs/new"}, 9, 9001);
    EXPECT_EQ(places.PageAt({"ann", 1001, "/docs/1"}), std::nullopt) << "the oldest";
    EXPECT_EQ(places.PageAt({"ann", 1001, "/docs/0"}), 9U);
    EXPECT_EQ(places.PageAt({"ann", 1001, "/docs/2"}), 1U);
    EXPECT_EQ(places.PageAt({"bob", 1002, "/docs/x"}), 5U);
    EXPECT_EQ(places.PageAt({"bob", 1003, "/docs/x"}), std::nullopt) << "another account";
}

}  // namespace
