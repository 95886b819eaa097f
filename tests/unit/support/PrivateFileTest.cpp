// SPDX-License-Identifier: Apache-2.0
#include "support/PrivateFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Process.h"

namespace vellumo::support {
namespace {

namespace fs = std::filesystem;

class PrivateFile : public testing::Test {
protected:
    PrivateFile() : _folder(testing::TempDir() + "vellumo-private.XXXXXX") {
        EXPECT_NE(mkdtemp(_folder.data()), nullptr);
        fs::permissions(_folder, fs::perms{0755});
    }
    ~PrivateFile() override { fs::remove_all(_folder); }

    std::string At(const std::string& name) const { return _folder + "/" + name; }
    static mode_t ModeOf(const std::string& path) {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

private:
    std::string _folder;
};

TEST_F(PrivateFile, IsNewWithItsMode) {
    const mode_t before = umask(0);
    EnsurePrivateFile(At("new"));
    umask(before);
    EXPECT_EQ(ModeOf(At("new")), 0600U);
    EXPECT_TRUE(fs::is_regular_file(At("new")));
}

TEST_F(PrivateFile, KeepsItsContentWhenItExists) {
    std::ofstream(At("old")) << "content";
    fs::permissions(At("old"), fs::perms{0664});
    errno = 0;
    EnsurePrivateFile(At("old"));
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(ModeOf(At("old")), 0600U);
    EXPECT_EQ(fs::file_size(At("old")), 7U);
}

TEST_F(PrivateFile, IsNotReachedThroughALink) {
    std::ofstream(At("elsewhere")) << "content";
    fs::permissions(At("elsewhere"), fs::perms{0644});
    fs::create_symlink(At("elsewhere"), At("link"));
    fs::create_symlink(At("nothing"), At("dangling"));
    EnsurePrivateFile(At("link"));
    EnsurePrivateFile(At("dangling"));
    EXPECT_EQ(ModeOf(At("elsewhere")), 0644U);
    EXPECT_FALSE(fs::exists(At("nothing")));
}

TEST_F(PrivateFile, OfAnotherUserStaysAsItIs) {
    std::ofstream(At("theirs")) << "content";
    fs::permissions(At("theirs"), fs::perms{0644});
    if (geteuid() != 0 || chown(At("theirs").c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "may not give a file away";
    }
    KeepForOwner(At("theirs"));
    EXPECT_EQ(ModeOf(At("theirs")), 0644U);
}

TEST_F(PrivateFile, KeepsTheRecordLocksOfTheProcess) {
    const Descriptor file(open(At("locked").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    struct flock lock {};
    lock.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(file.Get(), F_SETLK, &lock), 0);
    EnsurePrivateFile(At("locked"));
    test::ChildProcess other([&] {
        struct flock found {};
        found.l_type = F_WRLCK;
        return fcntl(file.Get(), F_GETLK, &found) == 0 && found.l_type == F_WRLCK ? 0 : 1;
    });
    EXPECT_EQ(other.Wait(), 0) << "the lock is gone";
}

TEST_F(PrivateFile, MayBeADirectory) {
    fs::create_directory(At("etc"));
    fs::permissions(At("etc"), fs::perms{0755});
    KeepForOwner(At("etc"));
    EXPECT_EQ(ModeOf(At("etc")), 0700U);
}

TEST_F(PrivateFile, LosesOnlyThePermissionsThatAreNamed) {
    std::ofstream(At("log")) << "entry";
    fs::permissions(At("log"), fs::perms{0644});
    const Descriptor file(open(At("log").c_str(), O_PATH | O_CLOEXEC));
    EXPECT_TRUE(RemovePermissions(file, S_IRWXO));
    EXPECT_EQ(ModeOf(At("log")), 0640U);
}

}  // namespace
}  // namespace vellumo::support
