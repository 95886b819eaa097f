// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <csignal>

#include "Device.h"
#include "KilledProgram.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "Worker.h"

using namespace vellumo::test;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

// A process is killed at each step of its work, every time on a fresh device. The next process does
// the same work at once and leaves nothing of either.
namespace {

constexpr const char* kDocument = "/volume1/docs/a.docx";
constexpr const char* kContent = "the document";

class DeathAtEveryStep : public DeviceTest {
protected:
    static void ExpectNothingLeft() {
        const Json::Value state = State();
        EXPECT_EQ(state["runningFiles"], Parsed("{}"));
        EXPECT_EQ(state["runningQueue"], Parsed("{}"));
        EXPECT_EQ(state["waitingQueue"], Parsed("[{},{},{}]"));
        EXPECT_EQ(state["navo1"]["using"], 0);
        EXPECT_EQ(state["navo2"]["using"], 0);
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_THAT(Names("/var/packages/Vellumo/etc/leases"), ElementsAre("boot"));
        // Only a PDF is in the index of the cache.
        EXPECT_THAT(Names("/var/packages/Vellumo/etc"),
                    testing::IsSubsetOf({"cache.db", "config", "leases"}));
        EXPECT_EQ(ReadFile(kDocument), kContent);
    }

    static void ExpectHealed(const std::string& service, const char* product) {
        const auto begin = std::chrono::steady_clock::now();
        Worker next = PoolWorker({service, kDocument});
        EXPECT_EQ(next.Wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(3));
        EXPECT_TRUE(Exists(StreamOf(kDocument, product)));
        ExpectNothingLeft();
    }

    // `before`: leaves what the killed process finds. `stride`: 1 for every step, 5 for every
    // fifth.
    static void KillAtEveryStep(
        const std::string& service, const char* product, void (*before)() = [] {}, int stride = 1) {
        int step = 1;
        for (;; step += stride) {
            PrepareFreshDevice();
            WriteFile(kDocument, kContent);
            before();
            const std::string call = KilledAtStep({VELLUMO_POOL_WORKER, service, kDocument}, step);
            if (call.empty()) {
                break;
            }
            SCOPED_TRACE("killed at change " + std::to_string(step) + ", " + call);
            ExpectHealed(service, product);
        }
        RecordProperty("steps", step);
        EXPECT_GT(step, 50) << "changes of a conversion";
    }
};

}  // namespace

TEST_F(DeathAtEveryStep, OfAPdf) {
    KillAtEveryStep("pdf", "NAVODOC_THUMB.pdf");
}

// The first process has died while its tool ran.
TEST_F(DeathAtEveryStep, OfAHealer) {
    const auto before = [] {
        PlayTool({.isHeld = true});
        Worker first = PoolWorker({"pdf", kDocument});
        ASSERT_TRUE(ToolsAreCalled());
        first.Signal(SIGKILL);
        EXPECT_EQ(first.Wait(), -SIGKILL);
        LetToolEnd();
        ASSERT_TRUE(ComesTrue([] { return !Exists("/device/busy-navo1"); }));
        PlayTool({});
        ASSERT_EQ(State()["runningQueue"].size(), 1U);
    };
    KillAtEveryStep("pdf", "NAVODOC_THUMB.pdf", before, 5);
}

// The first process has died in the middle of a save.
TEST_F(DeathAtEveryStep, AfterATornSave) {
    KillAtEveryStep("pdf", "NAVODOC_THUMB.pdf", [] {
        const std::string whole = StateText();
        WriteFile(kStateFile + std::string(".copy"), whole);
        WriteFile(kStateFile, whole.substr(0, whole.size() / 2));
    });
}

TEST_F(DeathAtEveryStep, OfAThumbnail) {
    KillAtEveryStep("thumbnail", "NAVODOC_THUMB.png");
}
