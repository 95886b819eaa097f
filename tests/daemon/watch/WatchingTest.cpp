// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Watching.h"

#include <cstdlib>
#include <filesystem>

#include "Watched.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;

// on-file-systems names folders on file systems of other types.
std::string Root() {
    const char* const other = std::getenv("VELLUMO_WATCHED");
    return other == nullptr ? kDocs : other;
}

std::string In(const std::string& name) {
    return Root() + '/' + name;
}

class EachWay : public DeviceTest, public testing::WithParamInterface<Way> {
protected:
    EachWay() {
        for (const auto& entry : std::filesystem::directory_iterator(Root())) {
            std::filesystem::remove_all(entry);
        }
    }

    static Watching::Options Options() { return {GetParam(), {}, Quick()}; }
};

TEST_P(EachWay, BeginsWithARescan) {
    MakeDirectory(In("f/g"));
    Watching watching({Root()}, Options());
    Collector found(watching);
    EXPECT_TRUE(found.Finds(Rescan(Root())));
    EXPECT_TRUE(watching.IsReady());
}

TEST_P(EachWay, FindsANewFileAndARenamedFolder) {
    MakeDirectory(In("f/g"));
    Watching watching({Root()}, Options());
    Collector found(watching);
    ASSERT_TRUE(found.Finds(Rescan(Root())));
    WriteFile(In("f/g/a.docx"), "text");
    EXPECT_TRUE(found.Finds(Changed(In("f/g/a.docx"))));
    std::filesystem::rename(In("f"), In("new"));
    EXPECT_TRUE(found.Finds(Moved(In("f"), In("new"), true)))
        << testing::PrintToString(found.changes);
    WriteFile(In("new/g/b.docx"), "text");
    EXPECT_TRUE(found.Finds(Changed(In("new/g/b.docx"))));
    std::filesystem::remove_all(In("new"));
    EXPECT_TRUE(found.Finds(Gone(In("new"), true)));
}

TEST_P(EachWay, WatchesARootThatAppearsLater) {
    Watching watching({In("later")}, Options());
    Collector found(watching);
    found.For(std::chrono::milliseconds(100));
    MakeDirectory(In("later/sub"));
    EXPECT_TRUE(found.Finds(Rescan(In("later"))));
    found.For(std::chrono::milliseconds(300));
    WriteFile(In("later/sub/a.docx"), "text");
    EXPECT_TRUE(found.Finds(Changed(In("later/sub/a.docx"))));
    EXPECT_NE(watching.Status().front().note, "");
}

class BestWay : public DeviceTest {};

TEST_F(BestWay, IsTakenForAFileSystem) {
    const char* const best = std::getenv("VELLUMO_BEST_WAY");
    Watching watching({Root()}, {Way::kAuto, {}, Quick()});
    EXPECT_EQ(NameOf(watching.Status().front().way),
              best == nullptr ? "fanotify" : std::string(best))
        << watching.Status().front().note;
}

INSTANTIATE_TEST_SUITE_P(Ways, EachWay,
                         testing::Values(Way::kAuto, Way::kFanotify, Way::kInotify, Way::kScan),
                         [](const auto& test) { return std::string(NameOf(test.param)); });

}  // namespace
}  // namespace vellumo::watch
