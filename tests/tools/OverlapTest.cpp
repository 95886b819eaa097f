// SPDX-License-Identifier: Apache-2.0
// A document that only stores its product needs no container: the next one takes it.
#include <sqlite3.h>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::HasSubstr;

namespace {

// Keeps others from writing to the cache index while it lives; they can read.
class HeldIndex {
public:
    HeldIndex() {
        EXPECT_EQ(sqlite3_open(NAVO::VELLUMO::SZF_CACHE_DB_PATH, &_index), SQLITE_OK);
        sqlite3_busy_timeout(_index, 20000);
        EXPECT_EQ(sqlite3_exec(_index, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(_index);
    }
    ~HeldIndex() { sqlite3_close(_index); }
    HeldIndex(const HeldIndex&) = delete;
    HeldIndex& operator=(const HeldIndex&) = delete;

private:
    sqlite3* _index = nullptr;
};

class OverlapTest : public ToolTest {
protected:
    OverlapTest() {
        WriteState(R"({"navo1":{"using":0,"used":0}})");
        for (const char* name : {"a.docx", "b.docx", "c.docx", "d.docx"}) {
            MakeDocument(name);
        }
        PlayTool({.isHeld = true});
    }
    ~OverlapTest() override {
        EXPECT_TRUE(ComesTrue([] {
            LetToolEnd();
            return ProcessesOf("vellumo").empty();
        }));
    }

    static bool IsAnyDone() { return ReadFile("/device/stdout").find(" -> ") != std::string::npos; }
};

}  // namespace

// The held index also keeps the second worker from its tool, so that it shows as waiting.
TEST_F(OverlapTest, TheNextDocumentIsStartedWhileTheOneBeforeStoresItsProduct) {
    RunningTool tool({"pdf", "-r", "--jobs", "1", "--refresh", "--progress", "plain", "/docs"});
    ASSERT_TRUE(Says("/docs/a.docx: tool running"));
    {
        const HeldIndex held;
        LetToolEnd();
        EXPECT_TRUE(Says("[2/4] /docs/b.docx: ")) << "the container idles while a product is kept";
        EXPECT_FALSE(IsAnyDone()) << "the first product could not be stored yet";
    }
    PlayTool({});
    EXPECT_TRUE(ComesTrue([] {
        LetToolEnd();
        return ReadFile("/device/stdout").find("documents converted") != std::string::npos;
    }));
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("4 of 4 documents converted"));
    EXPECT_FALSE(ContainersEverOverlapped());
}
