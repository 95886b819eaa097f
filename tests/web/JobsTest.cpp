// SPDX-License-Identifier: Apache-2.0
// Conversions that people wait for, and stop waiting for.
#include "ServiceTest.h"
#include "StateFile.h"

using namespace vellumo::test;
using testing::SizeIs;

namespace {

// One process converts; another document waits for it.
class WaitingConversion : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (!IsSkipped()) {
            Write("/volume1/docs/b.docx", 0644);
            PlayTool({.isHeld = true});
        }
    }

    static std::string StateOf(Browser& browser, const std::string& document) {
        return browser.Get("/api/v1/status/docs/" + document).Json()["state"].asString();
    }

    static void Open(Browser& browser, const std::string& document) {
        EXPECT_EQ(browser.Post("/api/v1/open/docs/" + document, "{}").status, 202);
    }

    static HttpAnswer Cancel(Browser& browser, const std::string& document) {
        return browser.Send("DELETE", "/api/v1/open/docs/" + document, "{}");
    }
};

TEST_F(WaitingConversion, ThatIsCancelledNeverBegins) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    Open(ann, "a.docx");
    ASSERT_TRUE(ToolsAreCalled());
    Open(ann, "b.docx");
    EXPECT_EQ(StateOf(ann, "b.docx"), "queued");
    EXPECT_EQ(Cancel(ann, "b.docx").status, 200);
    EXPECT_EQ(StateOf(ann, "b.docx"), "none");
    LetToolEnd();
    EXPECT_EQ(Opened(ann, "docs/a.docx"), "ready");
    EXPECT_THAT(DockerCalls(), SizeIs(1));
}

TEST_F(WaitingConversion, ThatRunsIsStoppedAndFreesItsContainer) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    Open(ann, "a.docx");
    ASSERT_TRUE(ToolsAreCalled());
    EXPECT_EQ(Cancel(ann, "a.docx").status, 200);
    EXPECT_TRUE(ComesTrue([&] { return StateOf(ann, "a.docx") == "none"; }));
    EXPECT_TRUE(ComesTrue([] { return State()["navo1"]["using"] == 0; }));
    PlayTool({});
    EXPECT_EQ(Opened(ann, "docs/a.docx"), "ready") << "it can be opened again";
}

TEST_F(WaitingConversion, IsCancelledByNobodyElse) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ann.LogIn("ann");
    bob.LogIn("bob");
    Open(ann, "a.docx");
    ASSERT_TRUE(ToolsAreCalled());
    EXPECT_EQ(Cancel(bob, "a.docx").status, 200) << "the same answer, whoever waits";
    Browser stranger;
    Cancel(stranger, "a.docx");
    LetToolEnd();
    EXPECT_EQ(Opened(ann, "docs/a.docx"), "ready");
}

TEST_F(WaitingConversion, IsToldHowLongItWillTake) {
    const RunningService service;
    Browser ann;
    ann.LogIn("ann");
    PlayTool({.sleepMs = 1000});
    EXPECT_EQ(Opened(ann, "docs/b.docx"), "ready");
    PlayTool({.isHeld = true});
    Write("/volume1/docs/c.docx", 0644);
    Open(ann, "a.docx");
    ASSERT_TRUE(ToolsAreCalled(2));
    Open(ann, "c.docx");
    const Json::Value waiting = ann.Get("/api/v1/status/docs/c.docx").Json();
    EXPECT_EQ(waiting["ahead"], 0);
    EXPECT_GE(waiting["seconds"].asInt(), 2) << "one that runs, and itself";
    EXPECT_LE(waiting["seconds"].asInt(), 20);
    LetToolEnd();
}

using SessionsOfAPerson = ServiceTest;

TEST_F(SessionsOfAPerson, EndEverywhereAtOnce) {
    const RunningService service;
    Browser here;
    Browser there;
    Browser bob;
    here.LogIn("ann");
    there.LogIn("ann");
    bob.LogIn("bob");
    EXPECT_EQ(here.Post("/api/v1/logout-everywhere", "{}").status, 200);
    EXPECT_EQ(there.Get("/api/v1/me").status, 401);
    EXPECT_EQ(here.Get("/api/v1/me").status, 401);
    EXPECT_EQ(bob.Get("/api/v1/me").status, 200);
    EXPECT_EQ(Browser().Post("/api/v1/logout-everywhere", "{}").status, 401);
}

}  // namespace
