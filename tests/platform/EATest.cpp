// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>

#include "OnDevice.h"
#include "Outcome.h"
#include "Process.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

using testing::MatchesRegex;
using testing::StartsWith;

constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "ea.cpp"};
constexpr Failure kTooLong{NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG, "ea.cpp"};
constexpr Failure kNotRootsAlone{NAVO_ERR_NO_PERMISSION, EPERM, "ea.cpp"};
const std::string kNone = "@[0-9a-f]{16}-0-0";  // the directory of a file that does not exist

constexpr std::array<const char*, 12> kBadPaths = {
    nullptr,    "",           "a.docx",    "docs/a.docx", "/",       "/docs/",
    "/docs/..", "/docs/../a", "/docs/a/.", "/../a.pdf",   "/docs/.", ".."};

std::string DirectoryOf(const std::string& file) {
    std::array<char, 4096> buffer{};
    return NAVOEADirPath(0, file.c_str(), buffer.data(), buffer.size()) == 0 ? buffer.data() : "";
}

class EAPathTest : public testing::Test {
protected:
    std::array<char, 4096> buffer{};
};

TEST_F(EAPathTest, DirectoryLiesInTheTreeOfTheVolume) {
    ExpectSuccess(
        [&] { return NAVOEADirPath(0, "/volume98/docs/sub/a.docx", buffer.data(), buffer.size()); },
        0);
    EXPECT_THAT(buffer.data(), MatchesRegex("/volume98/@navoea/docs/sub/" + kNone));
}

TEST_F(EAPathTest, DirectoryOfAFileOnNoVolumeLiesInTheTreeForAllOthers) {
    EXPECT_THAT(DirectoryOf("/v/docs/a.docx"),
                MatchesRegex("/var/lib/navo/@navoea/v/docs/" + kNone));
    EXPECT_THAT(DirectoryOf("/volume/a"), MatchesRegex("/var/lib/navo/@navoea/volume/" + kNone));
    EXPECT_THAT(DirectoryOf("/volume98"), MatchesRegex("/var/lib/navo/@navoea/" + kNone));
}

TEST_F(EAPathTest, NamesWithDotsAreOrdinary) {
    EXPECT_THAT(DirectoryOf("/volume98/..a/..."), MatchesRegex("/volume98/@navoea/..a/" + kNone));
}

TEST_F(EAPathTest, ComponentsThatMeanNothingDoNotMatter) {
    EXPECT_EQ(DirectoryOf("/volume98//docs/./a.docx"), DirectoryOf("/volume98/docs/a.docx"));
}

TEST_F(EAPathTest, FolderIsNeverTakenForADirectoryOfStreams) {
    const std::string directory = DirectoryOf("/volume98/a.docx");
    const std::string name = directory.substr(directory.rfind('/') + 1);
    EXPECT_THAT(DirectoryOf("/volume98/" + name + "/a.docx"),
                StartsWith("/volume98/@navoea/@" + name + "/@"));
    EXPECT_THAT(DirectoryOf("/volume98/@@x/a.docx"), StartsWith("/volume98/@navoea/@@@x/@"));
}

TEST_F(EAPathTest, StreamLiesInTheDirectory) {
    ExpectSuccess(
        [&] {
            return NAVOEAPath(0, "/volume98/a.docx", "THUMB.pdf", buffer.data(), buffer.size(), 0);
        },
        0);
    EXPECT_EQ(buffer.data(), DirectoryOf("/volume98/a.docx") + "/THUMB.pdf");
}

TEST_F(EAPathTest, EmptyStreamIsTheDirectory) {
    ASSERT_EQ(NAVOEAPath(0, "/v/a.docx", "", buffer.data(), buffer.size(), 0), 0);
    EXPECT_EQ(buffer.data(), DirectoryOf("/v/a.docx"));
}

TEST_F(EAPathTest, RefusesPathsThatAreNoFiles) {
    for (const char* path : kBadPaths) {
        SCOPED_TRACE(path == nullptr ? "(null)" : path);
        ExpectFailure([&] { return NAVOEADirPath(0, path, buffer.data(), buffer.size()); }, -1,
                      kBadParameters);
        ExpectFailure([&] { return NAVOEAPath(0, path, "s", buffer.data(), buffer.size(), 0); }, -1,
                      kBadParameters);
    }
}

TEST_F(EAPathTest, RefusesStreamsThatLeaveTheDirectory) {
    for (const char* stream : {static_cast<const char*>(nullptr), ".", "..", "/", "a/b", "../x"}) {
        SCOPED_TRACE(stream == nullptr ? "(null)" : stream);
        ExpectFailure(
            [&] { return NAVOEAPath(0, "/v/a", stream, buffer.data(), buffer.size(), 0); }, -1,
            kBadParameters);
    }
}

TEST_F(EAPathTest, RefusesOtherFlagsAndNoBuffer) {
    ExpectFailure([&] { return NAVOEADirPath(1, "/v/a", buffer.data(), buffer.size()); }, -1,
                  kBadParameters);
    ExpectFailure([&] { return NAVOEADirPath(0, "/v/a", nullptr, 10); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOEAPath(1, "/v/a", "s", buffer.data(), buffer.size(), 0); }, -1,
                  kBadParameters);
    ExpectFailure([&] { return NAVOEAPath(0, "/v/a", "s", buffer.data(), buffer.size(), 1); }, -1,
                  kBadParameters);
    ExpectFailure([&] { return NAVOEAPath(0, "/v/a", "s", nullptr, 10, 0); }, -1, kBadParameters);
}

TEST_F(EAPathTest, NeedsRoomForTheTerminatingNull) {
    const std::string result = DirectoryOf("/v/a");
    ExpectFailure([&] { return NAVOEADirPath(0, "/v/a", buffer.data(), result.size()); }, -1,
                  kTooLong);
    ExpectSuccess([&] { return NAVOEADirPath(0, "/v/a", buffer.data(), result.size() + 1); }, 0);
    EXPECT_EQ(buffer.data(), result);
}

TEST_F(EAPathTest, RefusesABufferWithoutRoom) {
    ExpectFailure([&] { return NAVOEADirPath(0, "/v/a", buffer.data(), 0); }, -1, kTooLong);
    ExpectFailure([&] { return NAVOEAPath(0, "/v/a", "s", buffer.data(), 12, 0); }, -1, kTooLong);
}

TEST_F(EAPathTest, RefusesAPathThatIsTooLong) {
    const std::string path = "/" + std::string(buffer.size(), 'x');
    ExpectFailure([&] { return NAVOEADirPath(0, path.c_str(), buffer.data(), buffer.size()); }, -1,
                  kTooLong);
}

constexpr const char* kTree = "/volume1/@navoea";

class EADirectoryOnDevice : public OnDeviceTest {
protected:
    void SetUp() override {
        OnDeviceTest::SetUp();
        std::filesystem::create_directories("/volume1/docs/sub");
        WriteFile(file, "a file");
    }
    void TearDown() override {
        std::filesystem::remove_all(kTree);
        std::filesystem::remove_all("/volume1/docs");
    }

    // Makes the directory of `path` with a stream in it, and returns the stream's path.
    static std::string Keep(const std::string& path) {
        const std::string directory = DirectoryOf(path);
        EXPECT_EQ(NAVOEAMKDir(1, directory.c_str()), 0) << directory;
        WriteFile(directory + "/s", "a stream");
        return directory + "/s";
    }

    // What a walk finds: for each directory whether its file is there.
    static std::map<std::string, bool> Found() {
        std::map<std::string, bool> found;
        const auto visit = [](const NAVOEAENTRY* entry, void* into) {
            (*static_cast<std::map<std::string, bool>*>(into))[entry->szDirectory] =
                entry->hasFile != FALSE;
            return 0;
        };
        EXPECT_EQ(NAVOEAWalk(visit, &found), 0);
        return found;
    }

    const std::string file = "/volume1/docs/sub/a.docx";
};

TEST_F(EADirectoryOnDevice, IsMadeForRootAloneWhateverTheUmask) {
    const Umask mask(0777);
    const std::string made = DirectoryOf(file);
    ExpectSuccess([&] { return NAVOEAMKDir(1, made.c_str()); }, 0);
    for (std::string path = made; path.size() >= std::string(kTree).size();
         path.erase(path.rfind('/'))) {
        EXPECT_EQ(PermissionsOf(path), 0700) << path;
        EXPECT_EQ(StatusOf(path).st_uid, 0U) << path;
    }
}

TEST_F(EADirectoryOnDevice, CannotBeEnteredByAnotherAccount) {
    const std::string stream = Keep(file);
    chmod(stream.c_str(), 0644);
    const auto opened = [](const std::string& path) {
        return vellumo::test::AsOther(
            [&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC) >= 0 ? 0 : errno; });
    };
    if (!opened(file)) {
        GTEST_SKIP() << "no other user to be";
    }
    EXPECT_EQ(opened(stream), EACCES);
    EXPECT_EQ(opened(std::string(kTree) + "/docs"), EACCES);
    for (std::string path = stream; path != "/volume1"; path.erase(path.rfind('/'))) {
        chmod(path.c_str(), 0755);
    }
    EXPECT_EQ(opened(stream), 0) << "the attack does not work at all";
}

TEST_F(EADirectoryOnDevice, MayExistAlready) {
    const std::string made = DirectoryOf(file);
    ASSERT_EQ(NAVOEAMKDir(1, made.c_str()), 0);
    chmod(made.c_str(), 0750);
    ExpectSuccess([&] { return NAVOEAMKDir(1, made.c_str()); }, 0);
    EXPECT_EQ(PermissionsOf(made), 0750);
}

TEST_F(EADirectoryOnDevice, StaysTheSameWhileTheFileDoes) {
    const std::string made = DirectoryOf(file);
    WriteFile(file, "another content");
    chmod(file.c_str(), 0600);
    EXPECT_EQ(DirectoryOf(file), made);
}

TEST_F(EADirectoryOnDevice, BelongsToTheFileNotToItsName) {
    const std::string stream = Keep(file);
    rename(file.c_str(), "/volume1/docs/sub/other.docx");
    WriteFile(file, "a file");
    struct stat old = StatusOf("/volume1/docs/sub/other.docx");
    const std::array<timespec, 2> times{old.st_atim, old.st_mtim};
    utimensat(AT_FDCWD, file.c_str(), times.data(), 0);
    EXPECT_NE(DirectoryOf(file) + "/s", stream) << "same name, same time, another file";
    rename("/volume1/docs/sub/other.docx", file.c_str());
    EXPECT_EQ(DirectoryOf(file) + "/s", stream);
}

TEST_F(EADirectoryOnDevice, IsRemovedWhenAnotherFileOfTheNameGetsOne) {
    const std::string stream = Keep(file);
    const std::string bystander =
        (WriteFile("/volume1/docs/sub/b.docx", "b"), Keep("/volume1/docs/sub/b.docx"));
    WriteFile(file + "~", "another file");
    rename((file + "~").c_str(), file.c_str());
    Keep(file);
    EXPECT_FALSE(Exists(stream));
    EXPECT_TRUE(Exists(bystander));
}

TEST_F(EADirectoryOnDevice, OfAFileThatIsGoneIsTheOneOfItsName) {
    const std::string stream = Keep(file);
    unlink(file.c_str());
    EXPECT_EQ(DirectoryOf(file) + "/s", stream);
}

TEST_F(EADirectoryOnDevice, OfAFileThatIsGoneIsNoneIfThereAreTwoOfItsName) {
    const std::string made = DirectoryOf(file);
    Keep(file);
    mkdir((made.substr(0, made.rfind('-')) + "-1").c_str(), 0700);  // another birth
    unlink(file.c_str());
    EXPECT_THAT(DirectoryOf(file), MatchesRegex(std::string(kTree) + "/docs/sub/" + kNone));
}

TEST_F(EADirectoryOnDevice, OfALinkIsNotThatOfItsTarget) {
    ASSERT_EQ(symlink(file.c_str(), "/volume1/docs/link.docx"), 0);
    const std::string directory = DirectoryOf("/volume1/docs/link.docx");
    EXPECT_NE(directory.substr(directory.find('-')),
              DirectoryOf(file).substr(DirectoryOf(file).find('-')));
}

TEST_F(EADirectoryOnDevice, IsThatOfTheOpenFileWhateverHasItsNameNow) {
    const std::string directory = DirectoryOf(file);
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    WriteFile(file + "~", "another file");
    rename((file + "~").c_str(), file.c_str());
    std::array<char, 4096> buffer{};
    ExpectSuccess(
        [&] { return NAVOEADirPathOfFile(opened, file.c_str(), buffer.data(), buffer.size()); }, 0);
    EXPECT_EQ(buffer.data(), directory);
    close(opened);
}

TEST_F(EADirectoryOnDevice, IsRefusedInATreeThatIsNotRootsAlone) {
    Keep(file);
    std::array<char, 4096> buffer{};
    const auto ask = [&] { return NAVOEADirPath(0, file.c_str(), buffer.data(), buffer.size()); };
    for (const mode_t mode : {0710U, 0701U, 0755U, 0777U}) {
        chmod(kTree, mode);
        ExpectFailure(ask, -1, kNotRootsAlone);
    }
    chmod(kTree, 0700);
    ExpectSuccess(ask, 0);
    if (chown(kTree, 12345, 0) == 0) {
        ExpectFailure(ask, -1, kNotRootsAlone);
    }
    std::filesystem::remove_all(kTree);
    ASSERT_EQ(symlink("/volume1/docs", kTree), 0);
    ExpectFailure(ask, -1, kNotRootsAlone);
    unlink(kTree);
    WriteFile(kTree, "");
    ExpectFailure(ask, -1, kNotRootsAlone);
}

TEST_F(EADirectoryOnDevice, IsRefusedWhereOthersMayExchangeTheTree) {
    const std::string stream = Keep(file);
    const std::string made = DirectoryOf(file);
    std::array<char, 4096> buffer{};
    const auto ask = [&] { return NAVOEADirPath(0, file.c_str(), buffer.data(), buffer.size()); };
    for (const mode_t mode : {0775U, 0757U, 0777U}) {
        chmod("/volume1", mode);
        ExpectFailure(ask, -1, kNotRootsAlone);
        EXPECT_EQ(NAVOEAMKDir(1, made.c_str()), -1);
        EXPECT_EQ(NAVOEARMDir(1, made.c_str()), -1);
    }
    chmod("/volume1", 01777);
    ExpectSuccess(ask, 0);
    chmod("/volume1", 0755);
    if (chown("/volume1", 12345, 0) == 0) {
        ExpectFailure(ask, -1, kNotRootsAlone);
        ASSERT_EQ(chown("/volume1", 0, 0), 0);
    }
    EXPECT_TRUE(Exists(stream));
}

TEST_F(EADirectoryOnDevice, IsNotMadeInATreeOfSomebodyElse) {
    const std::string made = DirectoryOf(file);
    ASSERT_EQ(mkdir(kTree, 0755), 0);
    ExpectFailure([&] { return NAVOEAMKDir(1, made.c_str()); }, -1, {NAVO_ERR_IO, EPERM, "ea.cpp"});
    ASSERT_EQ(rmdir(kTree), 0) << "nothing is in it";
    ASSERT_EQ(symlink("/volume1/docs", kTree), 0);
    EXPECT_EQ(NAVOEAMKDir(1, made.c_str()), -1);
    EXPECT_FALSE(Exists("/volume1/docs/docs"));
}

TEST_F(EADirectoryOnDevice, IsRefusedWhenItIsNone) {
    for (const char* path : kBadPaths) {
        SCOPED_TRACE(path == nullptr ? "(null)" : path);
        ExpectFailure([&] { return NAVOEAMKDir(1, path); }, -1, kBadParameters);
        ExpectFailure([&] { return NAVOEARMDir(1, path); }, -1, kBadParameters);
    }
    const std::string made = DirectoryOf(file);
    const std::string name = made.substr(made.rfind('/'));
    for (const std::string& path : std::initializer_list<std::string>{
             "/volume1/docs" + name, std::string("/volume1/@navoea/docs"), made + "/", made + "/x",
             "/volume1/@navoea/../docs" + name, "/volume1/@navoea" + name + name,
             "/etc/@navoea" + name, "/volume1/@navoea/docs/@x-1-1", "/volume1/@navoea/docs/@-1",
             "/volume1/@navoea/docs/@0123456789abcdef-1-1-1"}) {
        SCOPED_TRACE(path);
        ExpectFailure([&] { return NAVOEAMKDir(1, path.c_str()); }, -1, kBadParameters);
        ExpectFailure([&] { return NAVOEARMDir(1, path.c_str()); }, -1, kBadParameters);
    }
    ExpectFailure([&] { return NAVOEAMKDir(0, made.c_str()); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOEARMDir(0, made.c_str()); }, -1, kBadParameters);
    EXPECT_FALSE(Exists(kTree));
}

TEST_F(EADirectoryOnDevice, IsRemovedWithItsStreamsAndEmptyFolders) {
    WriteFile("/volume1/docs/b.docx", "b");
    const std::string bystander = Keep("/volume1/docs/b.docx");
    Keep(file);
    const std::string made = DirectoryOf(file);
    ExpectSuccess([&] { return NAVOEARMDir(1, made.c_str()); }, 0);
    ExpectSuccess([&] { return NAVOEARMDir(1, made.c_str()); }, 0);
    EXPECT_FALSE(Exists(std::string(kTree) + "/docs/sub"));
    EXPECT_TRUE(Exists(bystander));
}

TEST_F(EADirectoryOnDevice, IsFoundByAWalkWithItsFile) {
    Keep(file);
    WriteFile("/volume1/@top.docx", "b");
    Keep("/volume1/@top.docx");
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{DirectoryOf(file), true},
                                                    {DirectoryOf("/volume1/@top.docx"), true}}));
    unlink("/volume1/@top.docx");
}

TEST_F(EADirectoryOnDevice, IsFoundWithoutItsFileWhenThatIsGoneMovedOrReplaced) {
    Keep(file);
    const std::string made = DirectoryOf(file);
    const std::string aside = "/volume1/docs/sub/aside";
    rename(file.c_str(), aside.c_str());
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, false}}));
    WriteFile(file, "another file");
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, false}}));
    rename(aside.c_str(), file.c_str());
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, true}}));
    std::filesystem::remove_all("/volume1/docs/sub");
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, false}}));
}

TEST_F(EADirectoryOnDevice, IsFoundWithItsFileWhileTheFolderCannotBeLookedInto) {
    Keep(file);
    const std::string made = DirectoryOf(file);
    std::filesystem::rename("/volume1/docs/sub", "/volume1/docs/aside");
    std::filesystem::create_symlink("sub", "/volume1/docs/sub");  // leads to itself
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, true}}));
    std::filesystem::remove("/volume1/docs/sub");
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, false}}));
    std::filesystem::rename("/volume1/docs/aside", "/volume1/docs/sub");
}

TEST_F(EADirectoryOnDevice, SaysSoWhenItCannotFollowARename) {
    Keep(file);
    std::filesystem::rename("/volume1/docs/sub", "/volume1/docs/new");
    const std::string made = DirectoryOf("/volume1/docs/new/a.docx");
    const std::string inTheWay = std::filesystem::path(made).parent_path();
    WriteFile(inTheWay, "no folder");
    ExpectFailure([] { return NAVOEAMove(1, "/volume1/docs/sub", "/volume1/docs/new"); }, -1,
                  {NAVO_ERR_IO, ENOTDIR, "eamove.cpp"});
    unlink(inTheWay.c_str());
    ExpectSuccess([] { return NAVOEAMove(1, "/volume1/docs/sub", "/volume1/docs/new"); }, 0);
    EXPECT_EQ(Found(), (std::map<std::string, bool>{{made, true}}));
}

TEST_F(EADirectoryOnDevice, MovesOnlyBetweenPathsOfFilesOnOneVolume) {
    constexpr Failure kBadMove{NAVO_ERR_BAD_PARAMETERS, EINVAL, "eamove.cpp"};
    for (const char* path : kBadPaths) {
        ExpectFailure([&] { return NAVOEAMove(1, path, "/volume1/docs/b"); }, -1, kBadMove);
        ExpectFailure([&] { return NAVOEAMove(1, "/volume1/docs/a", path); }, -1, kBadMove);
    }
    ExpectFailure([] { return NAVOEAMove(0, "/volume1/docs/a", "/volume1/docs/b"); }, -1, kBadMove);
    ExpectSuccess([] { return NAVOEAMove(1, "/volume1/docs/a", "/volume1/docs/b"); }, 0);
    ExpectSuccess([] { return NAVOEAMove(1, "/volume1/docs/a", "/volume2/a"); }, 0);
    ExpectSuccess([] { return NAVOEAMove(1, "/volume1/docs/a", "/volume1/docs/a/b"); }, 0);
}

TEST_F(EADirectoryOnDevice, WalkEndsWhenTheVisitorSaysSo) {
    Keep(file);
    EXPECT_EQ(NAVOEAWalk([](const NAVOEAENTRY*, void*) { return 7; }, nullptr), 7);
    ExpectFailure([&] { return NAVOEAWalk(nullptr, nullptr); }, -1,
                  {NAVO_ERR_BAD_PARAMETERS, EINVAL, "eawalk.cpp"});
}

TEST_F(EADirectoryOnDevice, HasTheContentOfItsFileInALinkAndInACopy) {
    const std::string directory = DirectoryOf(file);
    const std::string other = "/volume1/docs/other";
    const auto has = [&](const std::string& copy) {
        return NAVOEAHasContent(directory.c_str(), file.c_str(), copy.c_str()) != FALSE;
    };
    ASSERT_EQ(link(file.c_str(), other.c_str()), 0);
    EXPECT_TRUE(has(other));
    unlink(other.c_str());
    WriteFile(other, "a file");
    EXPECT_TRUE(has(other));
    WriteFile(other, "a filf");
    EXPECT_FALSE(has(other));
    WriteFile(other, "a file, and more");
    EXPECT_FALSE(has(other));
    unlink(other.c_str());
    EXPECT_FALSE(has(other));
    ASSERT_EQ(mkfifo(other.c_str(), 0600), 0);
    EXPECT_FALSE(has(other)) << "and does not wait for a writer";
}

TEST_F(EADirectoryOnDevice, HasNotTheContentOfAnotherFileOfThatName) {
    const std::string directory = DirectoryOf(file);
    rename(file.c_str(), (file + "~").c_str());
    WriteFile(file, "a file");
    WriteFile("/volume1/docs/copy", "a file");
    EXPECT_FALSE(NAVOEAHasContent(directory.c_str(), file.c_str(), "/volume1/docs/copy"));
    EXPECT_FALSE(NAVOEAHasContent(directory.c_str(), file.c_str(), file.c_str()));
    ExpectFailure([&] { return NAVOEAHasContent("/etc", file.c_str(), file.c_str()); }, FALSE,
                  {NAVO_ERR_BAD_PARAMETERS, EINVAL, "eacontent.cpp"});
}

TEST_F(EADirectoryOnDevice, IsMadeWhileOthersRemoveEmptyFolders) {
    WriteFile("/volume1/docs/sub/b.docx", "b");
    const std::string other = DirectoryOf("/volume1/docs/sub/b.docx");
    const pid_t remover = fork();
    if (remover == 0) {
        while (true) {
            NAVOEAMKDir(1, other.c_str());
            NAVOEARMDir(1, other.c_str());
        }
    }
    const std::string made = DirectoryOf(file);
    int failures = 0;
    for (int i = 0; i < 2000; ++i) {
        failures += NAVOEAMKDir(1, made.c_str()) == 0 ? 0 : 1;
        NAVOEARMDir(1, made.c_str());
    }
    kill(remover, SIGKILL);
    waitpid(remover, nullptr, 0);
    EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace navo::test
