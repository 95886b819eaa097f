// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Mounts.h"

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <sstream>

#include "Watched.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;

std::string In(const std::string& name) {
    return std::string(kDocs) + '/' + name;
}

// A file system that is mounted while the object lives.
class Mounted {
public:
    Mounted(const char* type, std::string place, const std::string& options)
        : _place(std::move(place)),
          _isMounted(mount(type, _place.c_str(), type, 0, options.c_str()) == 0) {}
    ~Mounted() {
        if (_isMounted) {
            umount2(_place.c_str(), MNT_DETACH);
        }
    }
    Mounted(const Mounted&) = delete;
    Mounted& operator=(const Mounted&) = delete;

    explicit operator bool() const { return _isMounted; }

private:
    std::string _place;
    bool _isMounted;
};

class Mounts : public DeviceTest {};

TEST_F(Mounts, BelowTheRootsAreFoundInTheTable) {
    std::istringstream table(
        "97 66 254:0 /v /volume1 rw,nosuid - ext4 /dev/vda rw\n"
        "98 97 0:40 / /volume1/docs/a\\040b rw - tmpfs tmpfs rw\n"
        "99 97 0:41 / /volume1/docs2 rw - tmpfs tmpfs rw\n"
        "100 98 0:42 / /volume1/docs/a\\040b/c\\134d rw - tmpfs tmpfs rw\n"
        "torn\n");
    EXPECT_THAT(MountsBelow({"/volume1/docs"}, table),
                testing::ElementsAre("/volume1/docs/a b", "/volume1/docs/a b/c\\d"));
}

TEST_F(Mounts, OfThisMachineAreNotRemote) {
    EXPECT_FALSE(IsRemote(kDocs));
    EXPECT_FALSE(IsRemote("/dev/shm"));
    EXPECT_FALSE(IsRemote(In("missing")));
}

TEST_F(Mounts, BelowARootAreWatchedToo) {
    MakeDirectory(In("mounted"));
    const Mounted mounted("tmpfs", In("mounted"), "");
    if (!mounted) {
        GTEST_SKIP() << "skipped: may not mount";
    }
    MakeDirectory(In("mounted/sub"));
    for (const Way way : {Way::kAuto, Way::kFanotify, Way::kInotify, Way::kScan}) {
        Watching watching({kDocs}, {way, {}, Quick()});
        Collector found(watching);
        ASSERT_EQ(watching.Status().size(), 2U) << NameOf(way);
        ASSERT_TRUE(found.Finds(Rescan(In("mounted")))) << NameOf(way);
        const std::string path = In("mounted/sub/") + NameOf(way) + ".docx";
        WriteFile(path, "text");
        EXPECT_TRUE(found.Finds(Changed(path))) << NameOf(way);
    }
}

// The kernel watches no overlay as a whole, because its files have no lasting handles.
TEST_F(Mounts, ThatFanotifyRefusesAreWatchedByInotify) {
    for (const char* name : {"shm/lower", "shm/upper", "shm/work", "overlay"}) {
        MakeDirectory(In(name));
    }
    const Mounted memory("tmpfs", In("shm"), "");
    for (const char* name : {"shm/lower", "shm/upper", "shm/work"}) {
        MakeDirectory(In(name));
    }
    const Mounted overlay("overlay", In("overlay"),
                          "lowerdir=" + In("shm/lower") + ",upperdir=" + In("shm/upper") +
                              ",workdir=" + In("shm/work"));
    if (!memory || !overlay) {
        GTEST_SKIP() << "skipped: may not mount an overlay";
    }
    Watching watching({In("overlay")}, {Way::kAuto, {}, Quick()});
    const WatchedRoot root = watching.Status().front();
    EXPECT_EQ(root.way, Way::kInotify) << root.note;
    EXPECT_THAT(root.note, testing::StartsWith("fanotify: "));
    Collector found(watching);
    ASSERT_TRUE(found.Finds(Rescan(In("overlay"))));
    WriteFile(In("overlay/a.docx"), "text");
    EXPECT_TRUE(found.Finds(Changed(In("overlay/a.docx"))));
}

}  // namespace
}  // namespace vellumo::watch
