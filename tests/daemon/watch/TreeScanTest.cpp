// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/TreeScan.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "Watched.h"
#include "support/Directory.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;
namespace fs = std::filesystem;

std::string In(const std::string& name) {
    return std::string(kDocs) + '/' + name;
}

class Scan : public DeviceTest {
protected:
    // The paths that the scan finds in its next steps, sorted.
    static std::vector<std::string> Rest(TreeScan& scan, size_t entries = 3) {
        std::vector<TreeScan::File> found;
        while (scan.Step(entries, found)) {
        }
        std::vector<std::string> paths;
        for (const TreeScan::File& file : found) {
            paths.push_back(file.path);
        }
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    static std::vector<std::string> MakeFiles() {
        std::vector<std::string> files;
        for (const char* folder : {"", "a/", "a/b/", "a-b/", "a\nb%/", "\xff/", "z/"}) {
            MakeDirectory(In(folder));
            for (const char* name : {"1.docx", "2.odt", "3.PDF"}) {
                files.push_back(In(std::string(folder) + name));
                WriteFile(files.back(), "text");
            }
        }
        std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(Scan, FindsEachFileOnce) {
    const auto files = MakeFiles();
    TreeScan scan({kDocs});
    EXPECT_EQ(Rest(scan), files);
}

TEST_F(Scan, PassesOverLeftoversLinksAndWhatNobodyConverts) {
    for (const char* folder : {".hidden", "@eaDir", "#recycle", "~$f"}) {
        MakeDirectory(In(folder));
        WriteFile(In(folder) + "/a.docx", "text");
    }
    WriteFile(In("~$a.docx"), "text");
    WriteFile(In("a.unknown"), "text");
    WriteFile("/volume1/other.docx", "text");
    fs::create_symlink("/volume1/other.docx", In("link.docx"));
    fs::create_directory_symlink("/volume1", In("link"));
    WriteFile(In("a.docx"), "text");
    TreeScan scan({kDocs});
    EXPECT_EQ(Rest(scan), std::vector{In("a.docx")});
}

TEST_F(Scan, GoesThroughAFolderInSeveralTopsOnce) {
    const auto files = MakeFiles();
    TreeScan scan({In("a"), kDocs, In("a/b")});
    EXPECT_EQ(scan.Tops(), std::vector<std::string>{kDocs});
    EXPECT_EQ(Rest(scan), files);
}

TEST_F(Scan, ContinuesAtEachPlaceAndFindsAllFiles) {
    const auto files = MakeFiles();
    TreeScan scan({In("a"), In("a-b"), In("a\nb%"), In("\xff"), In("z")});
    std::vector<std::string> expected = files;
    std::erase_if(expected,
                  [](const std::string& path) { return fs::path(path).parent_path() == kDocs; });
    std::vector<TreeScan::File> found;
    int stops = 0;
    for (bool goesOn = true; goesOn; ++stops) {
        auto continued = TreeScan::Continue(scan.Checkpoint());
        ASSERT_TRUE(continued) << scan.Checkpoint();
        EXPECT_EQ(Rest(*continued), expected) << "at " << scan.Checkpoint();
        goesOn = scan.Step(1, found);
    }
    EXPECT_GT(stops, 20);
}

TEST_F(Scan, GoesOnAtItsPlaceBeforeItBeginsAnew) {
    MakeFiles();
    TreeScan scan({kDocs});
    std::vector<TreeScan::File> found;
    while (scan.Folder() != In("z")) {
        scan.Step(1, found);
    }
    auto continued = TreeScan::Continue(scan.Checkpoint());
    found.clear();
    while (found.empty()) {
        ASSERT_TRUE(continued->Step(1, found));
    }
    EXPECT_EQ(fs::path(found.front().path).parent_path(), In("z"));
}

TEST_F(Scan, RefusesADamagedCheckpoint) {
    MakeFiles();
    const std::string whole = TreeScan({kDocs}).Checkpoint();
    for (size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(TreeScan::Continue(whole.substr(0, size))) << whole.substr(0, size);
    }
    EXPECT_TRUE(TreeScan::Continue(whole));
    EXPECT_FALSE(TreeScan::Continue("{\"some\":\"thing else\"}\n"));
}

TEST_F(Scan, GoesRoundAgainWhenAsked) {
    const auto files = MakeFiles();
    TreeScan scan({kDocs});
    std::vector<TreeScan::File> found;
    while (scan.Folder() != In("a/b")) {
        scan.Step(1, found);
    }
    scan.GoRoundAgain();
    WriteFile(In("0.docx"), "new");
    const auto rest = Rest(scan);
    for (const std::string& file : files) {
        EXPECT_TRUE(std::binary_search(rest.begin(), rest.end(), file)) << file;
    }
    EXPECT_TRUE(std::binary_search(rest.begin(), rest.end(), In("0.docx")));
}

// It keeps the names of 10,000 folders of one folder at a time.
TEST_F(Scan, FindsTheFilesOfMoreFoldersThanItKeepsNamesOf) {
    std::vector<std::string> files;
    for (int i = 0; i < 12000; ++i) {
        const std::string folder = In(std::to_string(i));
        ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
        if (i % 100 == 0) {
            files.push_back(folder + "/a.docx");
            WriteFile(files.back(), "text");
        }
    }
    std::sort(files.begin(), files.end());
    TreeScan scan({kDocs});
    std::vector<TreeScan::File> found;
    while (scan.Folder() != In("23")) {
        ASSERT_TRUE(scan.Step(1, found));
    }
    auto continued = TreeScan::Continue(scan.Checkpoint());
    EXPECT_EQ(Rest(*continued, 1000), files);
    TreeScan whole({kDocs});
    EXPECT_EQ(Rest(whole, 1000), files);
}

TEST_F(Scan, LeavesOutPathsThatAreTooLong) {
    support::Descriptor folder = support::OpenDirectory(kDocs);
    const std::string name(250, 'x');
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(mkdirat(folder.Get(), name.c_str(), 0755), 0);
        folder = support::OpenDirectoryAt(folder, name);
        const support::Descriptor file(
            openat(folder.Get(), "a.docx", O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        ASSERT_TRUE(file);
    }
    TreeScan scan({kDocs});
    EXPECT_EQ(Rest(scan).size(), 16U) << "paths of up to 4,095 bytes";
    ASSERT_TRUE(support::RemoveContents(support::OpenDirectory(kDocs)));
}

TEST_F(Scan, SurvivesFoldersThatVanishAndChange) {
    MakeFiles();
    TreeScan scan({kDocs});
    std::vector<TreeScan::File> found;
    while (scan.Folder() != In("a")) {
        scan.Step(1, found);
    }
    fs::remove_all(In("a"));
    fs::remove_all(In("a-b"));
    WriteFile(In("a-b"), "now a file");
    const auto rest = Rest(scan);
    EXPECT_TRUE(std::binary_search(rest.begin(), rest.end(), In("z/1.docx")));
    EXPECT_FALSE(std::binary_search(rest.begin(), rest.end(), In("a/b/1.docx")));
}

}  // namespace
}  // namespace vellumo::watch
