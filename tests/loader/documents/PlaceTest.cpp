// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Place.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>

#include "Device.h"
#include "Process.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;
using Links = Place::Links;
namespace fs = std::filesystem;

constexpr const char* kRoot = "/volume1/docs";
constexpr uid_t kAnn = 1001;

// Each test runs with and without the kernel's own lookup beneath a directory.
class Places : public DeviceTest, public testing::WithParamInterface<Lookup> {
protected:
    Places() {
        MakeDirectory("/volume1/docs/folder/inner");
        MakeDirectory("/volume1/docs2");
        WriteFile("/volume1/docs/folder/inner/a.docx", "inside");
        WriteFile("/volume1/docs2/a.docx", "outside");
    }
    ~Places() override { fs::remove_all("/volume1/docs2"); }

    static OpenedPlace Open(const std::string& path, Links links = Links::kInside,
                            LastLink last = LastLink::kOpened) {
        return OpenedPlace::Open({kRoot, path, links}, last, GetParam());
    }

    // 0 when the file is found.
    static int ErrorOf(const std::string& path, Links links = Links::kInside,
                       LastLink last = LastLink::kOpened) {
        return Open(path, links, last).Error();
    }

    static ino_t InodeOf(const std::string& path) {
        struct stat status {};
        return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
    }

    static void Link(const std::string& target, const std::string& name) {
        fs::create_symlink(target, std::string(kRoot) + "/" + name);
    }
};

TEST_P(Places, AreFoundBelowTheRoot) {
    const OpenedPlace file = Open("folder//inner/a.docx");
    ASSERT_TRUE(file);
    EXPECT_EQ(file.Status().st_ino, InodeOf("/volume1/docs/folder/inner/a.docx"));
    EXPECT_TRUE(file.IsReadable());
    EXPECT_EQ(Open("").Status().st_ino, InodeOf(kRoot));
    EXPECT_TRUE(S_ISDIR(Open("folder/").Status().st_mode));
}

TEST_P(Places, ThatAreMissingSayWhy) {
    for (const Links links : {Links::kNone, Links::kInside, Links::kAnywhere}) {
        EXPECT_EQ(ErrorOf("none.docx", links), ENOENT);
        EXPECT_EQ(ErrorOf("none/a.docx", links), ENOENT);
        EXPECT_EQ(ErrorOf("folder/inner/a.docx/b", links), ENOTDIR);
        EXPECT_EQ(ErrorOf(std::string(256, 'x'), links), ENAMETOOLONG);
    }
    EXPECT_EQ(OpenedPlace::Open({"/none", "a"}, LastLink::kOpened, GetParam()).Error(), ENOENT);
}

TEST_P(Places, FollowLinksThatStayInside) {
    Link("folder", "relative");
    Link("/volume1/docs/folder", "absolute");
    Link("../docs/folder", "roundabout");
    for (const char* name : {"relative", "absolute", "roundabout"}) {
        const std::string path = name + std::string("/inner/a.docx");
        EXPECT_EQ(Open(path).Status().st_ino, InodeOf("/volume1/docs/folder/inner/a.docx")) << name;
        EXPECT_EQ(ErrorOf(path, Links::kNone), ELOOP) << name;
        EXPECT_EQ(ErrorOf(path, Links::kAnywhere), 0) << name;
    }
}

TEST_P(Places, OpenOrFollowALinkAtTheEnd) {
    Link("folder/inner/a.docx", "link.docx");
    EXPECT_TRUE(S_ISLNK(Open("link.docx").Status().st_mode));
    EXPECT_TRUE(S_ISLNK(Open("link.docx", Links::kNone).Status().st_mode));
    EXPECT_TRUE(S_ISREG(Open("link.docx", Links::kInside, LastLink::kFollowed).Status().st_mode));
    EXPECT_EQ(ErrorOf("link.docx", Links::kNone, LastLink::kFollowed), ELOOP);
}

TEST_P(Places, AttackALinkToAFileOfTheSystemIsNotFollowed) {
    Link("/etc/shadow", "a.docx");
    Link("/etc", "etc");
    Link("../../etc/shadow", "b.docx");
    EXPECT_EQ(ErrorOf("a.docx", Links::kInside, LastLink::kFollowed), EXDEV);
    EXPECT_EQ(ErrorOf("b.docx", Links::kInside, LastLink::kFollowed), EXDEV);
    EXPECT_EQ(ErrorOf("etc/shadow"), EXDEV);
    EXPECT_EQ(ErrorOf("etc/shadow", Links::kNone), ELOOP);
}

TEST_P(Places, AttackALinkToAnotherUsersFolderIsNotFollowed) {
    Link("../docs2", "theirs");
    Link("/volume1/docs2", "theirs2");
    EXPECT_EQ(ErrorOf("theirs/a.docx"), EXDEV);
    EXPECT_EQ(ErrorOf("theirs2/a.docx"), EXDEV);
    EXPECT_EQ(ErrorOf("theirs/a.docx", Links::kAnywhere), 0);
}

TEST_P(Places, AttackALinkDoesNotTellWhichFilesExistElsewhere) {
    Link("/volume1/docs2", "theirs");
    Link("/volume1/docs2/none.docx", "a.docx");
    EXPECT_EQ(ErrorOf("theirs/none.docx"), EXDEV);
    EXPECT_EQ(ErrorOf("a.docx", Links::kInside, LastLink::kFollowed), EXDEV);
}

TEST_P(Places, AttackALinkThroughTheProcessesOwnFilesIsNotFollowed) {
    const support::Descriptor elsewhere(open("/volume1/docs2", O_PATH | O_CLOEXEC));
    Link("/proc/self/fd/" + std::to_string(elsewhere.Get()), "open");
    Link("/proc/self/root/etc", "etc");
    EXPECT_EQ(ErrorOf("open/a.docx"), EXDEV);
    EXPECT_EQ(ErrorOf("etc/passwd"), EXDEV);
}

TEST_P(Places, AttackAPathWithParentsDoesNotLeaveTheRoot) {
    EXPECT_EQ(ErrorOf("../docs2/a.docx"), EXDEV);
    EXPECT_EQ(ErrorOf("folder/../../docs2/a.docx"), EXDEV);
    EXPECT_EQ(ErrorOf("../docs2/a.docx", Links::kNone), EXDEV);
}

TEST_P(Places, AttackLinksThatGoRoundEnd) {
    Link("b", "a");
    Link("a", "b");
    EXPECT_NE(ErrorOf("a/x.docx"), 0);
    EXPECT_NE(ErrorOf("a", Links::kInside, LastLink::kFollowed), 0);
}

void MakeSocket(const char* path) {
    const support::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", path);
    const void* generic = &address;
    ASSERT_EQ(bind(socket.Get(), static_cast<const sockaddr*>(generic), sizeof(address)), 0);
}

TEST_P(Places, AttackPipesSocketsAndFoldersAreToldApartWithoutWaiting) {
    ASSERT_EQ(mkfifo("/volume1/docs/pipe.docx", 0666), 0);
    MakeSocket("/volume1/docs/socket.docx");
    MakeDirectory("/volume1/docs/folder.docx");
    const auto begin = std::chrono::steady_clock::now();
    for (const Links links : {Links::kNone, Links::kInside, Links::kAnywhere}) {
        EXPECT_TRUE(S_ISFIFO(Open("pipe.docx", links).Status().st_mode));
        EXPECT_TRUE(S_ISSOCK(Open("socket.docx", links).Status().st_mode));
        EXPECT_TRUE(S_ISDIR(Open("folder.docx", links).Status().st_mode));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

TEST_P(Places, AttackADeviceIsNotOpened) {
    if (mknod("/volume1/docs/device.docx", S_IFCHR | 0666, makedev(1, 5)) != 0) {
        GTEST_SKIP() << "skipped: devices cannot be made here";
    }
    EXPECT_TRUE(S_ISCHR(Open("device.docx").Status().st_mode));
}

// Exchanges a folder and a link again and again, as the user ann, who owns both.
int SwapForEver() {
    if (setgid(kAnn) != 0 || setuid(kAnn) != 0) {
        return 1;
    }
    for (;;) {
        if (renameat2(AT_FDCWD, "/volume1/docs/hers/x", AT_FDCWD, "/volume1/docs/hers/y",
                      RENAME_EXCHANGE) != 0) {
            return 2;
        }
    }
}

struct Tries {
    int found = 0;
    int refused = 0;
    int stolen = 0;
};

Tries OpenWhileItIsSwapped(Links links, Lookup lookup) {
    const ino_t secret = [] {
        struct stat status {};
        return stat("/volume1/docs2/a.docx", &status) == 0 ? status.st_ino : 0;
    }();
    Tries tries;
    const ChildProcess attacker(SwapForEver);
    for (int round = 0; round < 10000; ++round) {
        const OpenedPlace file =
            OpenedPlace::Open({kRoot, "hers/x/a.docx", links}, LastLink::kFollowed, lookup);
        tries.found += file ? 1 : 0;
        tries.refused += file ? 0 : 1;
        tries.stolen += file && file.Status().st_ino == secret ? 1 : 0;
    }
    return tries;
}

TEST_P(Places, AttackAFolderThatIsSwappedForALinkAndBackNeverWins) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
    }
    ASSERT_EQ(chmod("/volume1/docs2", 0700), 0);
    MakeDirectory("/volume1/docs/hers/x");
    WriteFile("/volume1/docs/hers/x/a.docx", "hers");
    Link("/volume1/docs2", "hers/y");
    for (const char* name : {"hers", "hers/x"}) {
        ASSERT_EQ(chown((kRoot + std::string("/") + name).c_str(), kAnn, kAnn), 0);
    }
    for (const Links links : {Links::kInside, Links::kNone}) {
        const Tries tries = OpenWhileItIsSwapped(links, GetParam());
        EXPECT_EQ(tries.stolen, 0);
        EXPECT_GT(tries.found, 0) << "the attack never paused";
        EXPECT_GT(tries.refused, 0) << "the attack never struck";
    }
    EXPECT_GT(OpenWhileItIsSwapped(Links::kAnywhere, GetParam()).stolen, 0)
        << "the attack wins nowhere, so the test shows nothing";
}

INSTANTIATE_TEST_SUITE_P(Lookups, Places, testing::Values(Lookup::kByKernel, Lookup::kByWalk),
                         [](const auto& lookup) {
                             return lookup.param == Lookup::kByKernel ? "ByKernel" : "ByWalk";
                         });

}  // namespace
}  // namespace vellumo::loader
