// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/ScanWatch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Watched.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;
using std::chrono::milliseconds;

std::string In(const std::string& name) {
    return std::string(kDocs) + '/' + name;
}

class Scans : public DeviceTest {
protected:
    void Start(milliseconds full) {
        ScanWatch::Pace pace = Quick();
        pace.full = full;
        _watch = ScanWatch::Start(Roots({kDocs}), pace);
        ASSERT_TRUE(_watch);
        found.emplace(*_watch);
        ASSERT_TRUE(found->Until([&](const Changes&) { return _watch->IsReady(); }));
        found->For(milliseconds(300));
        found->changes.clear();
    }

    std::optional<Collector<TreeWatch>> found;

private:
    std::unique_ptr<TreeWatch> _watch;
};

TEST_F(Scans, FindAFileThatIsWrittenInPlaceByAFullPass) {
    MakeDirectory(In("f"));
    WriteFile(In("f/a.docx"), "text");
    WriteFile(In("f/b.docx"), "text");
    Start(milliseconds(200));
    std::ofstream(In("f/a.docx"), std::ios::app) << "more";
    EXPECT_TRUE(found->Finds(Changed(In("f/a.docx"))));
}

TEST_F(Scans, TellNothingOfFoldersThatDoNotChange) {
    MakeDirectory(In("f"));
    WriteFile(In("f/a.docx"), "text");
    Start(std::chrono::hours(24));
    found->For(milliseconds(500));
    EXPECT_TRUE(found->changes.empty()) << testing::PrintToString(found->changes);
}

TEST_F(Scans, FindAFileThatIsRenamedIntoAFolder) {
    MakeDirectory(In("f"));
    WriteFile("/volume1/old.docx", "text");
    Start(std::chrono::hours(24));
    std::filesystem::rename("/volume1/old.docx", In("f/a.docx"));
    EXPECT_TRUE(found->Finds(Changed(In("f/a.docx"))));
}

TEST_F(Scans, TellAFolderThatComesFromElsewhereAsARescan) {
    MakeDirectory("/volume1/elsewhere/sub");
    WriteFile("/volume1/elsewhere/sub/a.docx", "text");
    Start(std::chrono::hours(24));
    std::filesystem::rename("/volume1/elsewhere", In("here"));
    EXPECT_TRUE(found->Finds(Rescan(In("here"))));
    EXPECT_TRUE(found->Finds(Rescan(In("here/sub"))));
}

TEST_F(Scans, DoNotTakeACopyForTheFolderItself) {
    MakeDirectory(In("f/sub"));
    Start(std::chrono::hours(24));
    std::filesystem::copy(In("f"), In("g"), std::filesystem::copy_options::recursive);
    EXPECT_TRUE(found->Finds(Rescan(In("g/sub"))));
    for (const Change& change : found->changes) {
        EXPECT_NE(change.kind, Change::Kind::kMoved) << change.from;
    }
}

}  // namespace
}  // namespace vellumo::watch
