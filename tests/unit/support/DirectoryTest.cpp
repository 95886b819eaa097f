// SPDX-License-Identifier: Apache-2.0
#include "support/Directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <string>

namespace vellumo::support {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class Directory : public testing::Test {
protected:
    Directory() {
        std::string name = "/tmp/vellumo-directory-XXXXXX";
        _place = mkdtemp(name.data());
    }
    ~Directory() override { fs::remove_all(_place); }

    fs::path Place() const { return _place; }
    Descriptor Open() const { return OpenDirectory(_place); }
    void Write(const std::string& name) const { std::ofstream(_place / name) << "content"; }

private:
    fs::path _place;
};

// So few that a descent that keeps every folder open comes to its end.
class FewDescriptors {
public:
    FewDescriptors() {
        getrlimit(RLIMIT_NOFILE, &_before);
        const rlimit few{64, _before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &_before); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    rlimit _before{};
};

void MakeChain(const Descriptor& top, int depth) {
    Descriptor folder(dup(top.Get()));
    for (int i = 0; i < depth; ++i) {
        ASSERT_EQ(mkdirat(folder.Get(), "deeper", 0700), 0);
        folder = OpenDirectoryAt(folder, "deeper");
        ASSERT_TRUE(folder);
    }
}

TEST_F(Directory, IsNotOpenedThroughALink) {
    fs::create_directory(Place() / "real");
    fs::create_directory_symlink("real", Place() / "link");
    EXPECT_TRUE(OpenDirectory(Place() / "real"));
    EXPECT_FALSE(OpenDirectory(Place() / "link"));
    EXPECT_FALSE(OpenDirectoryAt(Open(), "link"));
}

TEST_F(Directory, ListsItsNamesAgainAndAgain) {
    Write("a");
    Write("b");
    const Descriptor directory = Open();
    EXPECT_THAT(NamesIn(directory), UnorderedElementsAre("a", "b"));
    EXPECT_THAT(NamesIn(directory), UnorderedElementsAre("a", "b"));
}

TEST_F(Directory, ListsTheTypesOfItsNames) {
    Write("a");
    fs::create_directory(Place() / "b");
    fs::create_symlink("a", Place() / "c");
    std::map<std::string, unsigned> types;
    for (const TypedName& each : TypedNamesIn(Open())) {
        types[each.name] = each.type;
    }
    EXPECT_THAT(types,
                UnorderedElementsAre(Pair("a", DT_REG), Pair("b", DT_DIR), Pair("c", DT_LNK)));
}

TEST_F(Directory, TellsAnEmptyOneFromOneThatCannotBeListed) {
    EXPECT_THAT(NamesIn(Open()), IsEmpty());
    EXPECT_EQ(errno, 0);
    EXPECT_THAT(NamesIn(Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC))), IsEmpty());
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(Directory, IsEmptiedOfFilesAndFolders) {
    fs::create_directories(Place() / "a/b/c");
    Write("a/b/c/file");
    Write("file");
    ASSERT_TRUE(RemoveContents(Open())) << errno;
    EXPECT_THAT(NamesIn(Open()), IsEmpty());
}

TEST_F(Directory, IsEmptiedHoweverDeepItsFoldersAre) {
    const Descriptor directory = Open();
    MakeChain(directory, 1500);
    const FewDescriptors few;
    ASSERT_TRUE(RemoveContents(directory)) << errno;
    EXPECT_THAT(NamesIn(directory), IsEmpty());
}

TEST_F(Directory, IsEmptiedOfLinksWithoutHarmToWhatTheyLeadTo) {
    fs::create_directory(Place() / "kept");
    Write("kept/file");
    fs::create_directories(Place() / "emptied/below");
    fs::create_directory_symlink(Place() / "kept", Place() / "emptied/link");
    fs::create_directory_symlink(Place() / "kept", Place() / "emptied/below/link");
    ASSERT_TRUE(RemoveContents(OpenDirectory(Place() / "emptied")));
    EXPECT_TRUE(fs::is_empty(Place() / "emptied"));
    EXPECT_TRUE(fs::exists(Place() / "kept/file"));
}

TEST_F(Directory, IsEmptiedOfFoldersWithoutRights) {
    fs::create_directories(Place() / "closed/below");
    Write("closed/below/file");
    fs::permissions(Place() / "closed/below", fs::perms::none);
    fs::permissions(Place() / "closed", fs::perms::none);
    ASSERT_TRUE(RemoveContents(Open())) << errno;
    EXPECT_THAT(NamesIn(Open()), IsEmpty());
}

TEST_F(Directory, IsEmptiedOfNamesThatItWouldGiveItself) {
    fs::create_directories(Place() / "a/b");
    fs::create_directories(Place() / ".removed-0/.removed-1/.removed-0");
    ASSERT_TRUE(RemoveContents(Open())) << errno;
    EXPECT_THAT(NamesIn(Open()), IsEmpty());
}

TEST_F(Directory, IsEmptiedBySeveralAtOnce) {
    for (int i = 0; i < 500; ++i) {
        Write(std::to_string(i));
    }
    const auto remove = [this] { return RemoveContents(Open()); };
    std::future<bool> other = std::async(std::launch::async, remove);
    EXPECT_TRUE(remove()) << errno;
    EXPECT_TRUE(other.get());
    EXPECT_THAT(NamesIn(Open()), IsEmpty());
}

TEST_F(Directory, IsLockedByOneAtATime) {
    fs::create_directory(Place() / "one");
    const Descriptor lock = LockDirectoryAt(Open(), "one");
    ASSERT_TRUE(lock) << errno;
    EXPECT_FALSE(LockDirectoryAt(Open(), "one"));
    EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(Directory, ThatIsGoneIsNotLocked) {
    EXPECT_FALSE(LockDirectoryAt(Open(), "one"));
    EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(Directory, IsNotLockedThroughALink) {
    fs::create_directory(Place() / "one");
    fs::create_directory_symlink(Place() / "one", Place() / "link");
    EXPECT_FALSE(LockDirectoryAt(Open(), "link"));
    EXPECT_NE(errno, EWOULDBLOCK);
}

TEST_F(Directory, AnOpenFileLiesAtItsPathUntilItIsReplaced) {
    Write("file");
    const Descriptor file(open((Place() / "file").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_TRUE(LiesAt(file, Place() / "file"));
    fs::remove(Place() / "file");
    EXPECT_FALSE(LiesAt(file, Place() / "file"));
    Write("file");
    EXPECT_FALSE(LiesAt(file, Place() / "file"));
}

}  // namespace
}  // namespace vellumo::support
