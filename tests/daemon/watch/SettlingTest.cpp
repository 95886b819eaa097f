// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Settling.h"

#include <gmock/gmock.h>

#include "Watched.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class SettlingTest : public testing::Test {
protected:
    void After(milliseconds time) { _now += time; }

    static Settling::Limits Small() {
        Settling::Limits limits;
        limits.files = 10;
        limits.folders = 5;
        limits.moves = 3;
        return limits;
    }

    Settling WithLimits(const Settling::Limits& limits) {
        return Settling({"/r", "/s"}, limits, [this] { return _now; });
    }

    Settling settling = WithLimits({});

private:
    Settling::Time _now{std::chrono::hours(1)};
};

TEST_F(SettlingTest, TellsAChangeTenSecondsAfterTheLastOne) {
    settling.Add(Changed("/r/a.docx"));
    After(seconds(9));
    settling.Add(Changed("/r/a.docx"));
    EXPECT_EQ(settling.UntilNext(), seconds(10));
    After(seconds(9));
    EXPECT_THAT(settling.TakeSettled(), IsEmpty());
    EXPECT_EQ(settling.UntilNext(), seconds(1));
    After(seconds(1));
    EXPECT_EQ(settling.UntilNext(), seconds(0));
    EXPECT_THAT(settling.TakeSettled(), ElementsAre(Changed("/r/a.docx")));
    EXPECT_EQ(settling.UntilNext(), std::nullopt);
    EXPECT_EQ(settling.Waiting(), 0U);
}

TEST_F(SettlingTest, TellsAFileThatChangesAllTheTimeAfterFiveMinutes) {
    for (int i = 0; i < 59; ++i) {
        settling.Add(Changed("/r/a.docx"));
        After(seconds(5));
        EXPECT_THAT(settling.TakeSettled(), IsEmpty()) << i;
    }
    settling.Add(Changed("/r/a.docx"));
    After(seconds(5));
    EXPECT_THAT(settling.TakeSettled(), ElementsAre(Changed("/r/a.docx")));
}

TEST_F(SettlingTest, TellsTheLastOfSeveralChangesOfAPath) {
    settling.Add(Gone("/r/a.docx"));
    settling.Add(Changed("/r/a.docx"));
    settling.Add(Changed("/r/b.docx"));
    settling.Add(Gone("/r/b.docx"));
    After(seconds(10));
    EXPECT_THAT(settling.TakeSettled(),
                UnorderedElementsAre(Changed("/r/a.docx"), Gone("/r/b.docx")));
}

TEST_F(SettlingTest, TellsMovesEarlyAndInTheirOrderAndLooksAtTheNewPlaceLater) {
    settling.Add(Changed("/r/f/a.docx"));
    settling.Add(Moved("/r/z.docx", "/r/b.docx"));
    settling.Add(Moved("/r/f", "/r/g", true));
    After(seconds(1));
    EXPECT_THAT(settling.TakeSettled(),
                ElementsAre(Moved("/r/z.docx", "/r/b.docx"), Moved("/r/f", "/r/g", true)));
    After(seconds(9));
    EXPECT_THAT(settling.TakeSettled(), UnorderedElementsAre(Changed("/r/b.docx"), Rescan("/r/g")));
}

TEST_F(SettlingTest, TellsTheMovesThatWaitTogether) {
    settling.Add(Moved("/r/f", "/r/g", true));
    After(std::chrono::milliseconds(900));
    settling.Add(Moved("/r/g/a.docx", "/r/g/b.docx"));
    EXPECT_THAT(settling.TakeSettled(), IsEmpty());
    After(std::chrono::milliseconds(100));
    EXPECT_THAT(settling.TakeSettled(),
                ElementsAre(Moved("/r/f", "/r/g", true), Moved("/r/g/a.docx", "/r/g/b.docx")));
}

TEST_F(SettlingTest, JoinsMovesOfOneFile) {
    settling.Add(Moved("/r/a.docx", "/r/b.docx"));
    settling.Add(Moved("/r/b.docx", "/r/c.docx"));
    settling.Add(Moved("/r/x.docx", "/r/y.docx"));
    settling.Add(Moved("/r/y.docx", "/r/x.docx"));
    After(seconds(1));
    EXPECT_THAT(settling.TakeSettled(), ElementsAre(Moved("/r/a.docx", "/r/c.docx")));
}

TEST_F(SettlingTest, TellsAFoldersMoveBeforeThoseInItByItsNewName) {
    settling.Add(
        Moved("/r/g/a.docx", "/r/g/b.docx"));  // was told when the folder had moved already
    settling.Add(Moved("/r/f", "/r/g", true));
    After(seconds(1));
    EXPECT_THAT(settling.TakeSettled(),
                ElementsAre(Moved("/r/f", "/r/g", true), Moved("/r/g/a.docx", "/r/g/b.docx")));
}

TEST_F(SettlingTest, JoinsNoMovesOfAFolderBetweenWhichSomethingMovedIntoIt) {
    settling.Add(Moved("/r/f", "/r/g", true));
    settling.Add(Moved("/r/a.docx", "/r/g/a.docx"));
    settling.Add(Moved("/r/g", "/r/h", true));
    After(seconds(1));
    EXPECT_THAT(settling.TakeSettled(),
                ElementsAre(Moved("/r/f", "/r/g", true), Moved("/r/a.docx", "/r/g/a.docx"),
                            Moved("/r/g", "/r/h", true)));
}

TEST_F(SettlingTest, GivesOutMovesBeforeTheySettleAndKeepsTheOtherChanges) {
    settling.Add(Moved("/r/a.docx", "/r/b.docx"));
    settling.Add(Changed("/r/c.docx"));
    const auto leadsTo = [](const char* wanted) {
        return [wanted](const std::string& path) { return path == wanted; };
    };
    EXPECT_THAT(settling.TakeMovesIf(leadsTo("/r/a.docx")), IsEmpty());
    EXPECT_THAT(settling.TakeMovesIf(leadsTo("/r/b.docx")),
                ElementsAre(Moved("/r/a.docx", "/r/b.docx")));
    EXPECT_THAT(settling.TakeMovesIf(leadsTo("/r/b.docx")), IsEmpty());
    After(seconds(10));
    EXPECT_THAT(settling.TakeSettled(),
                UnorderedElementsAre(Changed("/r/b.docx"), Changed("/r/c.docx")));
}

TEST_F(SettlingTest, TellsAFileAtLastThatIsRenamedAllTheTime) {
    size_t told = 0;
    for (int i = 0; i < 400; ++i) {
        settling.Add(i % 2 == 0 ? Moved("/r/a.docx", "/r/b.docx")
                                : Moved("/r/b.docx", "/r/a.docx"));
        After(seconds(1));
        for (const Change& change : settling.TakeSettled()) {
            told += change.kind == Change::Kind::kChanged ? 1U : 0U;
        }
    }
    EXPECT_GT(told, 0U);
}

TEST_F(SettlingTest, TellsARescanOnceForAFolderAndThoseInIt) {
    settling.Add(Rescan("/r/f/sub"));
    settling.Add(Rescan("/r/f"));
    settling.Add(Rescan("/r/f/other"));
    settling.Add(Rescan("/r/f-2"));
    After(seconds(10));
    EXPECT_THAT(settling.TakeSettled(), UnorderedElementsAre(Rescan("/r/f"), Rescan("/r/f-2")));
}

TEST_F(SettlingTest, TellsARescanAfterAMinuteWhateverHappens) {
    for (int i = 0; i < 12; ++i) {
        settling.Add(Rescan("/r"));
        EXPECT_THAT(settling.TakeSettled(), IsEmpty()) << i;
        After(seconds(5));
    }
    EXPECT_THAT(settling.TakeSettled(), ElementsAre(Rescan("/r")));
}

TEST_F(SettlingTest, TurnsTooManyFilesIntoRescansOfTheirFolders) {
    settling = WithLimits(Small());
    for (int i = 0; i < 1000; ++i) {
        settling.Add(Changed("/r/f/" + std::to_string(i) + ".docx"));
    }
    EXPECT_EQ(settling.Waiting(), 11U);
    After(minutes(1));
    EXPECT_THAT(settling.TakeSettled(), testing::Contains(Rescan("/r/f")));
}

TEST_F(SettlingTest, TurnsTooManyFoldersIntoARescanOfTheRoot) {
    settling = WithLimits(Small());
    for (int i = 0; i < 1000; ++i) {
        settling.Add(Rescan("/s/" + std::to_string(i)));
        EXPECT_LE(settling.Waiting(), 6U);
    }
    After(minutes(1));
    EXPECT_THAT(settling.TakeSettled(), ElementsAre(Rescan("/s")));
}

TEST_F(SettlingTest, TurnsTooLongPathsIntoARescanOfTheRoot) {
    Settling::Limits limits;
    limits.bytes = 10000;
    settling = WithLimits(limits);
    const std::string folder = "/r/" + std::string(200, 'x');
    for (int i = 0; i < 1000; ++i) {
        settling.Add(Changed(folder + "/" + std::to_string(i) + ".docx"));
    }
    EXPECT_LE(settling.Waiting(), 51U);
    After(minutes(1));
    EXPECT_THAT(settling.TakeSettled(), testing::Contains(Rescan("/r")));
}

TEST_F(SettlingTest, LooksAtTheNewPlacesOfMovesThatAreTooMany) {
    settling = WithLimits(Small());
    for (int i = 0; i < 1000; ++i) {
        const std::string name = std::to_string(i);
        settling.Add(Moved("/r/f/" + name + ".docx", "/r/g/" + name + ".docx"));
        EXPECT_LE(settling.Waiting(), 14U);
    }
    After(minutes(1));
    EXPECT_THAT(settling.TakeSettled(), testing::Contains(Rescan("/r/g")));
}

TEST_F(SettlingTest, GivesNoMoreThanIsAskedFor) {
    for (int i = 0; i < 10; ++i) {
        settling.Add(Changed("/r/" + std::to_string(i) + ".docx"));
    }
    After(seconds(10));
    EXPECT_EQ(settling.TakeSettled(4).size(), 4U);
    EXPECT_EQ(settling.TakeSettled(4).size(), 4U);
    EXPECT_EQ(settling.TakeSettled(4).size(), 2U);
}

TEST_F(SettlingTest, LeavesOutWhatIsOutsideTheRoots) {
    settling.Add(Changed("/other/a.docx"));
    settling.Add(Rescan("/"));
    EXPECT_EQ(settling.Waiting(), 0U);
}

}  // namespace
}  // namespace vellumo::watch
