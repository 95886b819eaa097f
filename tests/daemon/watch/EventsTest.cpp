// SPDX-License-Identifier: Apache-2.0
// The ways that get events from the kernel, which tell the same changes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Watched.h"
#include "daemon/watch/FanotifyWatch.h"
#include "daemon/watch/InotifyWatch.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;
namespace fs = std::filesystem;
using std::chrono::milliseconds;

std::string In(const std::string& name) {
    return std::string(kDocs) + '/' + name;
}

class Events : public DeviceTest, public testing::WithParamInterface<Way> {
protected:
    void SetUp() override { Start(Roots({kDocs})); }

    void Start(const Roots& roots) {
        if (GetParam() == Way::kFanotify) {
            _watch = FanotifyWatch::Start(roots, {});
        } else {
            _watch = InotifyWatch::Start(roots);
        }
        if (!_watch) {
            ASSERT_EQ(errno, EPERM) << strerror(errno);
            GTEST_SKIP() << "skipped: fanotify needs CAP_SYS_ADMIN in the first user namespace";
        }
        found.emplace(*_watch);
        ASSERT_TRUE(found->Until([&](const Changes&) { return _watch->IsReady(); }));
    }

    TreeWatch& Watch() { return *_watch; }
    std::optional<Collector<TreeWatch>> found;

private:
    std::unique_ptr<TreeWatch> _watch;
};

TEST_P(Events, TellAWrittenFile) {
    WriteFile(In("a.docx"), "text");
    EXPECT_TRUE(found->Finds(Changed(In("a.docx")))) << testing::PrintToString(found->changes);
}

TEST_P(Events, TellAFileInAFolderThatIsNew) {
    MakeDirectory(In("new/deep/er"));
    WriteFile(In("new/deep/er/a.docx"), "text");
    const auto isFound = [&](const Changes& changes) {
        return std::any_of(changes.begin(), changes.end(), [&](const Change& change) {
            return change == Changed(In("new/deep/er/a.docx")) ||
                   (change.kind == Change::Kind::kRescan &&
                    IsWithin(In("new/deep/er/a.docx"), change.path));
        });
    };
    EXPECT_TRUE(found->Until(isFound)) << testing::PrintToString(found->changes);
    found->For(milliseconds(100));
    WriteFile(In("new/deep/er/b.docx"), "text");
    EXPECT_TRUE(found->Finds(Changed(In("new/deep/er/b.docx"))));
}

TEST_P(Events, TellARemovedFileAndFolder) {
    MakeDirectory(In("f"));
    found->For(milliseconds(100));
    WriteFile(In("f/a.docx"), "text");
    ASSERT_TRUE(found->Finds(Changed(In("f/a.docx"))));
    unlink(In("f/a.docx").c_str());
    EXPECT_TRUE(found->Finds(Gone(In("f/a.docx"))));
    rmdir(In("f").c_str());
    EXPECT_TRUE(found->Finds(Gone(In("f"), true))) << testing::PrintToString(found->changes);
}

TEST_P(Events, TellBothNamesOfARenamedFile) {
    WriteFile(In("a.docx"), "text");
    rename(In("a.docx").c_str(), In("b.docx").c_str());
    EXPECT_TRUE(found->Finds(Moved(In("a.docx"), In("b.docx"))));
}

TEST_P(Events, TellBothNamesOfARenamedFolderAndFollowIt) {
    MakeDirectory(In("old/sub"));
    MakeDirectory(In("other"));
    found->For(milliseconds(100));
    rename(In("old").c_str(), In("other/new").c_str());
    EXPECT_TRUE(found->Finds(Moved(In("old"), In("other/new"), true)));
    WriteFile(In("other/new/sub/a.docx"), "text");
    EXPECT_TRUE(found->Finds(Changed(In("other/new/sub/a.docx"))))
        << testing::PrintToString(found->changes);
}

TEST_P(Events, TellAFileThatReplacesAnother) {
    WriteFile(In("a.docx"), "old");
    WriteFile(In(".a.tmp"), "new");
    rename(In(".a.tmp").c_str(), In("a.docx").c_str());
    const auto twice = [&](const Changes& changes) {
        return std::count(changes.begin(), changes.end(), Changed(In("a.docx"))) >= 2;
    };
    EXPECT_TRUE(found->Until(twice)) << testing::PrintToString(found->changes);
}

TEST_P(Events, TellNothingOfWhatIsPassedOver) {
    for (const char* name : {"@eaDir", ".hidden", "#recycle", "~$folder"}) {
        MakeDirectory(In(name));
        WriteFile(In(name) + "/a.docx", "text");
    }
    for (const char* name : {".b.docx", "~$b.docx", "@b.docx", "b.unknown", "b"}) {
        WriteFile(In(name), "text");
    }
    WriteFile("/volume1/elsewhere.docx", "text");
    WriteFile(In("last.docx"), "text");
    ASSERT_TRUE(found->Finds(Changed(In("last.docx"))));
    for (const Change& change : found->changes) {
        EXPECT_EQ(change, Changed(In("last.docx")));
    }
}

TEST_P(Events, TellAFolderThatComesFromElsewhereAsARescan) {
    MakeDirectory("/volume1/elsewhere/sub");
    WriteFile("/volume1/elsewhere/sub/a.docx", "text");
    rename("/volume1/elsewhere", In("here").c_str());
    EXPECT_TRUE(found->Finds(Rescan(In("here"))));
    found->For(milliseconds(100));
    WriteFile(In("here/sub/b.docx"), "text");
    EXPECT_TRUE(found->Finds(Changed(In("here/sub/b.docx"))));
}

TEST_P(Events, TellAFolderThatLeavesAsGone) {
    MakeDirectory(In("f/sub"));
    found->For(milliseconds(100));
    rename(In("f").c_str(), "/volume1/left");
    EXPECT_TRUE(found->Finds(Gone(In("f"), true)));
    found->changes.clear();
    WriteFile("/volume1/left/sub/a.docx", "text");
    WriteFile(In("last.docx"), "text");
    ASSERT_TRUE(found->Finds(Changed(In("last.docx"))));
    EXPECT_EQ(found->changes.size(),
              static_cast<size_t>(std::count(found->changes.begin(), found->changes.end(),
                                             Changed(In("last.docx")))));
}

TEST_P(Events, TellNamesOfAnyBytes) {
    const std::string folder = In("a\n'\"%s \xff\xfe");
    MakeDirectory(folder);
    found->For(milliseconds(100));
    WriteFile(folder + "/b\n\xc3(.docx", "text");
    EXPECT_TRUE(found->Finds(Changed(folder + "/b\n\xc3(.docx")));
}

TEST_P(Events, FollowNoLink) {
    MakeDirectory("/volume1/outside");
    fs::create_directory_symlink("/volume1/outside", In("link"));
    found->For(milliseconds(100));
    WriteFile("/volume1/outside/a.docx", "text");
    WriteFile(In("last.docx"), "text");
    ASSERT_TRUE(found->Finds(Changed(In("last.docx"))));
    for (const Change& change : found->changes) {
        EXPECT_EQ(change, Changed(In("last.docx")));
    }
}

// The kernel keeps 16,384 unread events for each watch.
TEST_P(Events, TellTheLossOfEventsAsARescan) {
    MakeDirectory(In("f"));
    found->For(milliseconds(100));
    for (int i = 0; i < 40000; ++i) {
        const std::string path = In("f/" + std::to_string(i) + ".docx");
        const support::Descriptor file(open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        ASSERT_TRUE(file);
    }
    if (GetParam() == Way::kFanotify) {
        EXPECT_TRUE(found->Finds(Rescan(kDocs)));
    } else {
        bool wasUnready = false;
        EXPECT_TRUE(found->Until([&](const Changes&) {
            wasUnready = wasUnready || !Watch().IsReady();
            return wasUnready && Watch().IsReady();
        }));
    }
    WriteFile(In("f/last.docx"), "text");
    EXPECT_TRUE(found->Finds(Changed(In("f/last.docx"))));
}

INSTANTIATE_TEST_SUITE_P(Ways, Events, testing::Values(Way::kFanotify, Way::kInotify),
                         [](const auto& test) { return std::string(NameOf(test.param)); });

}  // namespace
}  // namespace vellumo::watch
