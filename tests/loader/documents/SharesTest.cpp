// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Shares.h"

#include "Device.h"
#include "loader/Problem.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;

class SharesOnDevice : public DeviceTest {};

TEST_F(SharesOnDevice, AreThoseOfSambasConfiguration) {
    std::vector<std::string> names;
    for (const Share& share : Shares()) {
        names.push_back(share.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"archive", "docker", "docs", "homes"}));
}

TEST_F(SharesOnDevice, CannotBeListedWithoutAConfiguration) {
    WriteFile("/etc/samba/smb.conf", "[docs\n");
    EXPECT_THROW(Shares(), Failure);
}

TEST(ShareMapTest, FindsTheShareAroundAPath) {
    const ShareMap map({{"docs", "/volume1/docs"}, {"homes", "/volume1/homes"}});
    EXPECT_EQ(map.SharePathOf("/volume1/docs/a/b.odt"), "/docs/a/b.odt");
    EXPECT_EQ(map.SharePathOf("/volume1/homes/ann/c.odt"), "/homes/ann/c.odt");
    EXPECT_EQ(map.SharePathOf("/volume1/docs"), "/docs");
}

TEST(ShareMapTest, KnowsNoShareAroundOtherPaths) {
    const ShareMap map(std::vector<Share>{{"docs", "/volume1/docs"}});
    EXPECT_EQ(map.SharePathOf("/volume1/docs2/a.odt"), std::nullopt);
    EXPECT_EQ(map.SharePathOf("/volume1"), std::nullopt);
    EXPECT_EQ(map.SharePathOf(""), std::nullopt);
}

TEST(ShareMapTest, PrefersTheInnermostShare) {
    const ShareMap map({{"all", "/volume1"}, {"docs", "/volume1/docs"}, {"root", "/"}});
    EXPECT_EQ(map.SharePathOf("/volume1/docs/a.odt"), "/docs/a.odt");
    EXPECT_EQ(map.SharePathOf("/volume1/other/a.odt"), "/all/other/a.odt");
    EXPECT_EQ(map.SharePathOf("/srv/a.odt"), "/root/srv/a.odt");
}

}  // namespace
}  // namespace vellumo::loader
